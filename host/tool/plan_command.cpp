// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "host/services/count_text.h"
#include "host/tool/command.h"
#include "host/tool/download_plan.h"
#include "host/tool/image_report.h"
#include "host/tool/link_options.h"
#include "host/tool/outputs.h"
#include "host/tool/profile.h"
#include "host/tool/text.h"
#include "host/tool/transfer_options.h"

namespace quillmark::host {
namespace {

struct PlanCommandOptions {
  LinkOptions link;
  TransferOptions transfer;
  std::string folder;
  std::string profile;
};

void Report(Reporter& reporter, const PlanCommandOptions& options, const DownloadPlan& plan) {
  const WirePlan& wire = plan.wire;
  const std::uint32_t bit_rate = BitRateOf(options.link);
  reporter.Line(fmt::format("fill      {} of {:02X} left out", BytesText(plan.fill_bytes()),
                            options.transfer.fill));
  reporter.Line(fmt::format("send      {} in {} and {}", BytesText(wire.data_bytes()),
                            CountText(wire.blocks(), "block"),
                            CountText(plan.documents, "document")));
  reporter.Line(fmt::format("wire      {} at {} bit/s, the ECU's own time not counted",
                            TimeText(wire.wire_time()), bit_rate));
  if (!options.folder.empty()) {
    reporter.Line(
        fmt::format("written   {} in {}", CountText(plan.documents, "document"), options.folder));
  }
  reporter.Event(EventKind::kPlan, {{"image_bytes", plan.image_bytes},
                                    {"fill_bytes", plan.fill_bytes()},
                                    {"sent_bytes", wire.data_bytes()},
                                    {"blocks", wire.blocks()},
                                    {"documents", plan.documents},
                                    {"bit_rate", bit_rate},
                                    {"wire_seconds", SecondsOf(wire.wire_time())}});
}

/// Raises ToolError if a document of an earlier plan, which this one replaces, is an image.
void CheckEarlierDocuments(const PlanCommandOptions& options) {
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(options.folder, none)) {
    if (entry.path().filename().string().starts_with("download-")) {
      CheckOutputs(InputsOf(options.transfer, options.profile),
                   {{{"-o", entry.path().string()}, OutputKind::kMadeAgain}}, Existing::kReplaced);
    }
  }
}

void Run(const PlanCommandOptions& options, Reporter& reporter) {
  CheckLinkOptions(options.link);
  CheckTransferOptions(options.transfer, options.link);
  const Images images = ReadImagesOf(options.transfer);
  if (!options.folder.empty()) {
    CheckEarlierDocuments(options);
    CreateFolder(options.folder);
  }
  const DownloadPlan plan =
      PlanDownload(options.transfer, options.link, images.segments, options.folder);
  ReportImages(reporter, images);
  Report(reporter, options, plan);
}

}  // namespace

void AddPlanCommand(CLI::App& app, Command& command) {
  CLI::App& plan = *app.add_subcommand(
      "plan", "show what flash would send, without a bus, and write the documents");
  const auto options = std::make_shared<PlanCommandOptions>();
  AddTransferOptions(plan, options->transfer);
  plan.add_option("-o,--output", options->folder,
                  "folder for the documents: download-0001.xml, download-0002.xml, ...")
      ->type_name("DIR");
  AddProfileOption(plan, options->profile);
  AddLinkOptions(plan, options->link);
  AddJsonOption(plan, command);
  plan.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
