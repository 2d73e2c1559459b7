// SPDX-License-Identifier: MIT
#include "host/tool/artifact_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

#include "host/report/artifacts.h"
#include "host/tool/download_plan.h"
#include "host/tool/exit_code.h"
#include "host/tool/output_file.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

fs::path CreatedFolder(const std::string& path) {
  std::error_code ignored;
  const bool exists = fs::exists(path, ignored);
  if (exists && !fs::is_directory(path, ignored)) {
    throw ToolError(ExitCode::kCannotCreate,
                    fmt::format("{}: expected a new or an empty folder, found a file", path),
                    "name a folder that does not exist yet");
  }
  if (exists && !fs::is_empty(path, ignored)) {
    throw ToolError(
        ExitCode::kCannotCreate,
        fmt::format("{}: expected a new or an empty folder, there is something in it", path),
        "name a folder that does not exist yet");
  }
  CreateFolder((fs::path(path) / artifact::kDocuments).string());
  return path;
}

TraceFormat FormatOf(TransportForm form) {
  return form == TransportForm::kKLine ? TraceFormat::kKLine : TraceFormat::kCandump;
}

std::string TextOf(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace

ArtifactFolder::ArtifactFolder(const std::string& path, TransportForm form)
    : path_(CreatedFolder(path)),
      trace_(path_ / artifact::kTrace, FormatOf(form)),
      log_(path_ / artifact::kLog, std::ios::binary) {}

/// On one line: a large image has thousands of blocks.
void ArtifactFolder::WritePlan(const Json& plan) const {
  WriteText(artifact::kPlan, TextOf(plan, -1));
}

std::string ArtifactFolder::WriteRequest(const DocumentRun& run) {
  ++documents_;
  const std::string name = DocumentName(run, "request");
  WriteText(name, run.document.xml());
  return name;
}

std::string ArtifactFolder::WriteReply(const DocumentRun& run) const {
  const std::string name = DocumentName(run, "reply");
  WriteText(name, run.document.xml());
  return name;
}

void ArtifactFolder::WriteResult(const Json& result) const {
  WriteText(artifact::kResult, TextOf(result, 2));
}

void ArtifactFolder::Close() {
  trace_.Close();
  log_.close();
  if (!log_) {
    throw ToolError(ExitCode::kInputOutput,
                    fmt::format("{}: the log could not be written to its end",
                                (path_ / artifact::kLog).string()));
  }
}

std::string ArtifactFolder::DocumentName(const DocumentRun& run, const char* kind) const {
  std::string phase(NameOf(run.phase));
  std::replace(phase.begin(), phase.end(), ' ', '-');
  return fmt::format("{}/{:04}-{}.{}.xml", artifact::kDocuments, documents_, phase, kind);
}

void ArtifactFolder::WriteText(const fs::path& name, const std::string& text) const {
  OutputFile file(path_ / name);
  file.stream() << text;
  file.Commit();
}

}  // namespace quillmark::host
