// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/calls/json.h"
#include "host/programmer/programmer.h"
#include "host/tool/trace_file.h"

namespace quillmark::host {

/// The folder in which a command leaves all that it did: the plan, each document and its reply, the
/// trace, a log and the result. See docs/traces.md.
class ArtifactFolder {
 public:
  /// Raises ToolError (cannot create), also for a folder that already holds something.
  ArtifactFolder(const std::string& path, TransportForm form);

  /// Raises ToolError.
  void WritePlan(const Json& plan) const;
  /// Both raise ToolError. Returns the name of the file.
  std::string WriteRequest(const DocumentRun& run);
  [[nodiscard]] std::string WriteReply(const DocumentRun& run) const;
  void WriteResult(const Json& result) const;

  [[nodiscard]] TraceFile& trace() { return trace_; }
  [[nodiscard]] std::ostream& log() { return log_; }

  /// Raises ToolError (input/output) where trace or log are not complete.
  void Close();

 private:
  [[nodiscard]] std::string DocumentName(const DocumentRun& run, const char* kind) const;
  void WriteText(const std::filesystem::path& name, const std::string& text) const;

  std::filesystem::path path_;
  TraceFile trace_;
  std::ofstream log_;
  std::size_t documents_ = 0;
};

}  // namespace quillmark::host
