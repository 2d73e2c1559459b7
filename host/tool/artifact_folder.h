// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "host/calls/json.h"
#include "host/files/output_file.h"
#include "host/programmer/programmer.h"
#include "host/tool/trace_file.h"

namespace quillmark::host {

/// The folder in which a command leaves all that it did: the plan, each document and its reply, the
/// trace, a log and the result. See docs/traces.md.
class ArtifactFolder {
 public:
  /// Raises ToolError (cannot create) for a folder that holds something, unless that is artifacts
  /// and these are to be replaced.
  ArtifactFolder(const std::string& path, TransportForm form, Existing existing);

  /// All raise CannotCreateFile and CannotWriteFile.
  void WritePlan(const Json& plan) const;
  /// Returns the name of the file, as the next does.
  std::string WriteRequest(const DocumentRun& run);
  [[nodiscard]] std::string WriteReply(const DocumentRun& run) const;
  void WriteResult(const Json& result) const;

  [[nodiscard]] TraceFile& trace() { return trace_; }
  [[nodiscard]] std::ostream& log() { return log_.stream(); }

  /// Raises CannotWriteFile if trace or log are not complete.
  void Close();

 private:
  [[nodiscard]] std::string DocumentName(const DocumentRun& run, const char* kind) const;
  void WriteText(const std::filesystem::path& name, const std::string& text) const;

  std::filesystem::path path_;
  TraceFile trace_;
  OutputFile log_;
  std::size_t documents_ = 0;
};

}  // namespace quillmark::host
