#include <fmt/format.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>

#include "host/tool/command.h"
#include "host/tool/image_report.h"
#include "host/tool/link_options.h"
#include "host/tool/output_file.h"
#include "host/tool/text.h"
#include "host/tool/transfer_options.h"
#include "host/tool/wire_plan.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

struct Options {
  LinkOptions link;
  TransferOptions transfer;
  std::string folder;
};

/// Takes the documents of a download from its worker.
class DocumentSink {
 public:
  explicit DocumentSink(const Options& options)
      : folder_(options.folder), wire_(options.link.form, options.link.Speed()) {}

  /// The event's handler, on the worker's thread. An error is kept and ends the run.
  void OnXMLReady(const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    try {
      if (node != nullptr) {
        Take(dynamic_cast<const DOMDocument&>(*node));
      }
      cancel = false;
    } catch (...) {
      error_ = std::current_exception();
    }
  }

  /// Once the worker has ended: raises what went wrong in the handler.
  void Finish(std::uint64_t image_bytes) const {
    if (error_) {
      std::rethrow_exception(error_);
    }
    if (total_bytes_ != image_bytes) {
      throw ToolError(ExitCode::kInternal,
                      fmt::format("the documents cover {} of {}", WithThousands(total_bytes_),
                                  BytesText(image_bytes)));
    }
  }

  [[nodiscard]] std::uint64_t documents() const { return documents_; }
  [[nodiscard]] const WirePlan& wire() const { return wire_; }

 private:
  void Take(const DOMDocument& document) {
    ++documents_;
    total_bytes_ += std::stoull(document.documentElement()->getAttribute("totalbytes").value());
    wire_.Add(document);
    if (!folder_.empty()) {
      OutputFile file(folder_ / fmt::format("download-{:04}.xml", documents_));
      file.stream() << document.xml();
      file.Commit();
    }
  }

  std::filesystem::path folder_;
  WirePlan wire_;
  std::uint64_t documents_ = 0;
  std::uint64_t total_bytes_ = 0;
  std::exception_ptr error_;
};

void CreateFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw ToolError(ExitCode::kCannotCreate,
                    fmt::format("{}: cannot create: {}", folder, error.message()));
  }
}

void ComputeDownload(const Options& options, const ImageSegments& segments, DocumentSink& sink) {
  const auto platform = CreatePortablePlatform();
  const auto reprog = CreateDiagOnCANReprog(platform);
  Configure(*reprog, options.link);
  reprog->OnXMLReady([&sink](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    sink.OnXMLReady(node, cancel);
  });
  reprog->ComputeDownload(options.transfer.memory, ToMemoryImage(segments, *platform),
                          options.transfer.fill, options.transfer.alignment,
                          options.transfer.block);
  platform->WaitForWorkers();
}

void Report(Reporter& reporter, const Options& options, std::uint64_t image_bytes,
            const DocumentSink& sink) {
  const WirePlan& wire = sink.wire();
  const WireSpeed speed = options.link.Speed();
  const std::uint32_t bit_rate =
      options.link.form == TransportForm::kKLine ? speed.k_line_baud : speed.can_bit_rate;
  const std::uint64_t left_out = image_bytes - wire.data_bytes();
  reporter.Line(
      fmt::format("fill      {} of {:02X} left out", BytesText(left_out), options.transfer.fill));
  reporter.Line(fmt::format("send      {} in {} and {}", BytesText(wire.data_bytes()),
                            CountText(wire.blocks(), "block"),
                            CountText(sink.documents(), "document")));
  reporter.Line(fmt::format("wire      {} at {} bit/s, the ECU's own time not counted",
                            TimeText(wire.wire_time()), bit_rate));
  if (!options.folder.empty()) {
    reporter.Line(
        fmt::format("written   {} in {}", CountText(sink.documents(), "document"), options.folder));
  }
  reporter.Event("plan", {{"image_bytes", image_bytes},
                          {"fill_bytes", left_out},
                          {"sent_bytes", wire.data_bytes()},
                          {"blocks", wire.blocks()},
                          {"documents", sink.documents()},
                          {"bit_rate", bit_rate},
                          {"wire_seconds", SecondsOf(wire.wire_time())}});
}

void Run(const Options& options, Reporter& reporter) {
  CheckLinkOptions(options.link);
  CheckTransferOptions(options.transfer, options.link);
  const ImageFile image = ReadImageOf(options.transfer);
  if (!options.folder.empty()) {
    CreateFolder(options.folder);
  }
  const std::uint64_t image_bytes = SizeOf(image.segments);
  DocumentSink sink(options);
  ComputeDownload(options, image.segments, sink);
  sink.Finish(image_bytes);
  ReportImage(reporter, options.transfer.file, image);
  Report(reporter, options, image_bytes, sink);
}

}  // namespace

void AddPlanCommand(CLI::App& app, Command& command) {
  CLI::App& plan =
      *app.add_subcommand("plan", "say what flash would send, without a bus, and write it");
  const auto options = std::make_shared<Options>();
  AddTransferOptions(plan, options->transfer);
  plan.add_option("-o,--output", options->folder,
                  "folder for the documents, download-0001.xml and on")
      ->type_name("DIR");
  AddLinkOptions(plan, options->link);
  AddJsonOption(plan, command);
  plan.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
