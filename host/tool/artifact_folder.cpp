// SPDX-License-Identifier: MIT
#include "host/tool/artifact_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "host/files/output_file.h"
#include "host/report/artifacts.h"
#include "host/tool/download_plan.h"
#include "host/tool/exit_code.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const fs::path& path, const std::string& why, const char* next) {
  throw ToolError(ExitCode::kCannotCreate, fmt::format("{}: {}", path.string(), why), next);
}

bool IsArtifact(const fs::directory_entry& entry) {
  const std::array files{artifact::kPlan, artifact::kResult, artifact::kTrace, artifact::kLog};
  const fs::path name = entry.path().filename();
  if (name == artifact::kDocuments) {
    return entry.symlink_status().type() == fs::file_type::directory;
  }
  return std::find(files.begin(), files.end(), name.string()) != files.end();
}

bool IsDocument(const fs::directory_entry& entry) { return entry.path().extension() == ".xml"; }

/// Raises ToolError for anything else in a folder of artifacts.
void Require(bool (*expected)(const fs::directory_entry&), const fs::path& folder) {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (!expected(entry)) {
      Refuse(entry.path(), "is no artifact, and --force removes nothing else",
             "name another folder, or move out of it what is to be kept");
    }
  }
}

/// The result is removed first: without it, nobody takes the rest for a run that has ended.
void RemoveArtifacts(const fs::path& folder) {
  const fs::path documents = folder / artifact::kDocuments;
  Require(IsArtifact, folder);
  if (fs::exists(documents)) {
    Require(IsDocument, documents);
  }
  for (const char* const name : {artifact::kResult, artifact::kPlan, artifact::kTrace,
                                 artifact::kLog, artifact::kDocuments}) {
    fs::remove_all(folder / name);
  }
}

fs::path EmptyFolder(const std::string& path, Existing existing) {
  std::error_code ignored;
  const bool exists = fs::exists(path, ignored);
  if (exists && !fs::is_directory(path, ignored)) {
    Refuse(path, "expected a new or an empty folder, found a file",
           "name a folder that does not exist yet");
  }
  const bool is_in_use = exists && !fs::is_empty(path, ignored);
  if (is_in_use && existing == Existing::kKept) {
    Refuse(path, "expected a new or an empty folder, there is something in it",
           "name a folder that does not exist yet, or replace earlier artifacts with --force");
  }
  try {
    if (is_in_use) {
      RemoveArtifacts(path);
    }
  } catch (const fs::filesystem_error& error) {
    Refuse(path, fmt::format("cannot remove earlier artifacts: {}", error.code().message()),
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

ArtifactFolder::ArtifactFolder(const std::string& path, TransportForm form, Existing existing)
    : path_(EmptyFolder(path, existing)),
      trace_(path_ / artifact::kTrace, FormatOf(form), Existing::kKept),
      log_(path_ / artifact::kLog, Existing::kKept) {
  trace_.TakePlace();
  log_.TakePlace();
}

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
  log_.Commit();
}

std::string ArtifactFolder::DocumentName(const DocumentRun& run, const char* kind) const {
  std::string phase(NameOf(run.phase));
  std::replace(phase.begin(), phase.end(), ' ', '-');
  return fmt::format("{}/{:04}-{}.{}.xml", artifact::kDocuments, documents_, phase, kind);
}

void ArtifactFolder::WriteText(const fs::path& name, const std::string& text) const {
  WriteFile(path_ / name, text);
}

}  // namespace quillmark::host
