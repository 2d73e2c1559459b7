// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <filesystem>
#include <vector>

#include "host/files/output_file.h"
#include "host/report/outcome.h"
#include "host/report/page.h"
#include "host/services/count_text.h"
#include "host/tool/command.h"
#include "host/tool/outputs.h"
#include "host/tool/text.h"

namespace quillmark::host {
namespace {

struct ReportCommandOptions {
  std::string folder;
  std::string output;
};

Artifacts ReadFolder(const std::string& folder) {
  try {
    return ReadArtifacts(folder);
  } catch (const DamagedArtifacts& error) {
    throw ToolError(ExitCode::kNoInput, error.what());
  }
}

std::string Rendered(const Artifacts& artifacts, const std::string& folder) {
  try {
    return RenderPage(artifacts);
  } catch (const DamagedArtifacts& error) {
    throw ToolError(ExitCode::kData, fmt::format("{}: {}", folder, error.what()));
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
  const std::string page = Rendered(artifacts, options.folder);
  WriteFile(options.output, page);
  const std::string outcome = OutcomeOf(artifacts).line;
  reporter.Line(fmt::format("outcome   {}", outcome));
  reporter.Line(fmt::format("written   {} to {}", BytesText(page.size()), options.output));
}

}  // namespace

void AddReportCommand(CLI::App& app, Command& command) {
  CLI::App& report =
      *app.add_subcommand("report", "make a page out of what --artifacts left behind");
  const auto options = std::make_shared<ReportCommandOptions>();
  report.add_option("DIR", options->folder, "folder that flash or read wrote")->required();
  report.add_option("-o,--output", options->output, "the page, one HTML file")
      ->type_name("FILE")
      ->required();
  report.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
