// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "host/files/file_system.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/files.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const fs::path& path, const std::string& why, const char* next) {
  throw RefusedFolder(path, why, next);
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

/// Raises RefusedFolder for anything else in a folder of artifacts.
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

fs::path EmptyFolder(const fs::path& path, Existing existing) {
  if (NamesDevice(path)) {
    Refuse(path, "expected a new or an empty folder, found the name of a device",
           "name a folder that does not exist yet");
  }
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
  CreateFolders(path / artifact::kDocuments);
  return path;
}

TraceFormat FormatOf(TransportForm form) {
  return form == TransportForm::kKLine ? TraceFormat::kKLine : TraceFormat::kCandump;
}

}  // namespace

ArtifactFolder::ArtifactFolder(const fs::path& path, TransportForm form, Existing existing)
    : path_(EmptyFolder(path, existing)),
      trace_(path_ / artifact::kTrace, FormatOf(form), Existing::kKept),
      log_(path_ / artifact::kLog, Existing::kKept) {
  trace_.TakePlace();
  log_.TakePlace();
}

void ArtifactFolder::WritePlan(std::string_view json) const {
  WriteFile(path_ / artifact::kPlan, json);
}

std::string ArtifactFolder::WriteRequest(const DocumentRun& run) {
  ++documents_;
  const std::string name = DocumentName(run, "request");
  WriteFile(path_ / name, run.document.xml());
  return name;
}

std::string ArtifactFolder::WriteReply(const DocumentRun& run) const {
  const std::string name = DocumentName(run, "reply");
  WriteFile(path_ / name, run.document.xml());
  return name;
}

void ArtifactFolder::WriteResult(std::string_view json) const {
  WriteFile(path_ / artifact::kResult, json);
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

}  // namespace quillmark::host
