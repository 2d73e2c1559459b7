// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <filesystem>
#include <vector>

#include "host/tool/child_process.h"
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
  bool open = false;
};

Artifacts ReadFolder(const std::string& folder) {
  try {
    return ReadArtifacts(Utf8Path(folder));
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
  CheckOutputs(FilesIn(Utf8Path(options.folder)),
               {{{"-o", options.output}, OutputKind::kMadeAgain}}, Existing::kReplaced);
  const Artifacts artifacts = ReadFolder(options.folder);
  const std::string page = RenderPage(artifacts);
  WriteFile(Utf8Path(options.output), page);
  reporter.Line(fmt::format("outcome   {}", OutcomeOf(artifacts).line));
  for (const std::string& warning : artifacts.warnings) {
    reporter.Line(fmt::format("warning   {}", warning));
  }
  reporter.Line(fmt::format("written   {} to {}", BytesText(page.size()), options.output));
  if (options.open &&
      !OpenOnDesktop(std::filesystem::absolute(Utf8Path(options.output)).string())) {
    throw ToolError(ExitCode::kUnavailable, fmt::format("{}: no browser took it", options.output),
                    "the page is complete: open it by hand");
  }
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
  report.add_flag("--open", options->open, "open the page in the browser");
  report.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
