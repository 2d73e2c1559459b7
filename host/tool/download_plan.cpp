// SPDX-License-Identifier: MIT
#include "host/tool/download_plan.h"

#include <fmt/format.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "host/files/output_file.h"
#include "host/services/count_text.h"
#include "host/tool/exit_code.h"
#include "host/tool/interrupt.h"
#include "host/tool/text.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

Exchange ExchangeOf(const LinkOptions& link) {
  return {link.form, static_cast<std::uint32_t>(link.ReceiveId()),
          static_cast<std::uint32_t>(link.SendId())};
}

/// Takes the documents of a download from its worker.
class DocumentSink {
 public:
  DocumentSink(std::string folder, const LinkOptions& link)
      : folder_(std::move(folder)), wire_(ExchangeOf(link), link.Speed()) {}

  /// The event's handler, on the worker's thread. An error is kept and ends the run.
  void OnXMLReady(const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    try {
      if (node != nullptr) {
        Take(dynamic_cast<const DOMDocument&>(*node));
      }
      cancel = Interrupted();
    } catch (...) {
      error_ = std::current_exception();
    }
  }

  /// Once the worker has ended: raises what went wrong in the handler.
  void Finish(std::uint64_t image_bytes) const {
    if (error_) {
      std::rethrow_exception(error_);
    }
    if (Interrupted()) {
      throw ToolError(ExitCode::kInterrupted, "interrupted before anything was sent");
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
      WriteFile(folder_ / fmt::format("download-{:04}.xml", documents_), document.xml());
    }
  }

  std::filesystem::path folder_;
  WirePlan wire_;
  std::uint64_t documents_ = 0;
  std::uint64_t total_bytes_ = 0;
  std::exception_ptr error_;
};

}  // namespace

DownloadPlan PlanDownload(const TransferOptions& transfer, const LinkOptions& link,
                          const ImageSegments& segments, const std::string& folder) {
  const std::uint64_t image_bytes = SizeOf(segments);
  const auto platform = CreatePortablePlatform();
  const auto reprog = CreateDiagOnCANReprog(platform);
  DocumentSink sink(folder, link);
  Configure(*reprog, link);
  reprog->OnXMLReady([&sink](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    sink.OnXMLReady(node, cancel);
  });
  reprog->ComputeDownload(transfer.memory, ToMemoryImage(segments, *platform), transfer.fill,
                          transfer.alignment, transfer.block);
  platform->WaitForWorkers();
  sink.Finish(image_bytes);
  return {image_bytes, sink.documents(), sink.wire()};
}

std::uint32_t BitRateOf(const LinkOptions& link) {
  const WireSpeed speed = link.Speed();
  return link.form == TransportForm::kKLine ? speed.k_line_baud : speed.can_bit_rate;
}

void CreateFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw ToolError(ExitCode::kCannotCreate,
                    fmt::format("{}: cannot create: {}", folder, error.message()));
  }
}

}  // namespace quillmark::host
