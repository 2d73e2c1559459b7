// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <filesystem>
#include <vector>

#include "host/tool/command.h"
#include "host/tool/outputs.h"
#include "quillmark/host/files.h"
#include "quillmark/host/report.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

struct ReportCommandOptions {
  std::string folder;
  std::string output;
};

Artifacts ReadFolder(const std::string& folder) {
  try {
    return ReadArtifacts(folder);
  } catch (const UnreadableArtifacts& error) {
    throw ToolError(ExitCode::kNoInput, error.what());
  } catch (const DamagedArtifacts& error) {
    throw ToolError(ExitCode::kData, fmt::format("{}: {}", folder, error.what()),
                    "name a folder as --artifacts left it");
  }
}

std::vector<NamedPath> FilesIn(const std::filesystem::path& folder) {
  std::vector<NamedPath> files;
  for (const char* const name :
       {artifact::kPlan, artifact::kResult, artifact::kTrace, artifact::kLog}) {
    files.push_back({name, (folder / name).string()});
  }
  return files;
}

void Run(const ReportCommandOptions& options, Reporter& reporter) {
  CheckOutputs(FilesIn(options.folder), {{{"-o", options.output}, OutputKind::kMadeAgain}},
               Existing::kReplaced);
  const Artifacts artifacts = ReadFolder(options.folder);
  const std::string page = RenderPage(artifacts);
  WriteFile(options.output, page);
  reporter.Line(fmt::format("outcome   {}", OutcomeOf(artifacts).line));
  for (const std::string& warning : artifacts.warnings) {
    reporter.Line(fmt::format("warning   {}", warning));
  }
  reporter.Line(fmt::format("written   {} to {}", BytesText(page.size()), options.output));
}

}  // namespace

void AddReportCommand(CLI::App& app, Command& command) {
  CLI::App& report =
      *app.add_subcommand("report", "make an HTML page from what --artifacts recorded");
  const auto options = std::make_shared<ReportCommandOptions>();
  report.add_option("DIR", options->folder, "folder that flash, verify or read wrote")->required();
  report.add_option("-o,--output", options->output, "the page, one HTML file")
      ->type_name("FILE")
      ->required();
  report.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
