// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "host/tool/command.h"
#include "host/tool/connection.h"
#include "host/tool/image_report.h"
#include "host/tool/link_options.h"
#include "host/tool/outputs.h"
#include "host/tool/profile.h"
#include "host/tool/transfer_options.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

struct PlanCommandOptions {
  LinkOptions link;
  TransferOptions transfer;
  std::string folder;
  std::string profile;
};

void Report(Reporter& reporter, const PlanCommandOptions& options, const DownloadPlan& plan) {
  const std::uint32_t bit_rate = options.link.BitRate();
  reporter.Line(fmt::format("fill      {} of {:02X} left out", BytesText(plan.fill_bytes()),
                            options.transfer.fill));
  reporter.Line(fmt::format("send      {} in {} and {}", BytesText(plan.sent_bytes),
                            CountText(plan.blocks.size(), "block"),
                            CountText(plan.documents, "document")));
  reporter.Line(fmt::format("wire      {} at {} bit/s, the ECU's own time not counted",
                            TimeText(plan.wire_time), bit_rate));
  if (!options.folder.empty()) {
    reporter.Line(
        fmt::format("written   {} in {}", CountText(plan.documents, "document"), options.folder));
  }
  reporter.Event(EventKind::kPlan, {{"image_bytes", plan.image_bytes},
                                    {"fill_bytes", plan.fill_bytes()},
                                    {"sent_bytes", plan.sent_bytes},
                                    {"blocks", plan.blocks.size()},
                                    {"documents", plan.documents},
                                    {"bit_rate", bit_rate},
                                    {"wire_seconds", SecondsOf(plan.wire_time)}});
}

/// Raises ToolError if a document of an earlier plan, which this one replaces, is an image.
void CheckEarlierDocuments(const PlanCommandOptions& options) {
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(Utf8Path(options.folder), none)) {
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
    CreateFolders(Utf8Path(options.folder));
  }
  ProgrammerConfig config = MakeConfig(options.link, SessionOptions());
  Apply(options.transfer, config);
  const DownloadPlan plan =
      PlanOf(config, options.link.Speed(), images.segments,
             {.on_document = [&options](const DOMDocument& document, std::uint64_t number) {
               if (!options.folder.empty()) {
                 WriteFile(Utf8Path(options.folder) / fmt::format("download-{:04}.xml", number),
                           document.xml());
               }
             }});
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
