// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <fstream>

#include "host/trace/trace.h"
#include "host/trace/trace_writer.h"

namespace quillmark::host {

/// The format of a trace file of `form` by its name. Raises CLI::ValidationError for a name that
/// stands for none.
[[nodiscard]] TraceFormat TraceFormatOfName(const std::filesystem::path& path, TransportForm form);

/// A trace that grows as frames pass, so that what was seen stands there whatever happens. A file
/// that can no longer be written, such as on a full disk, does not stop the work on the ECU.
class TraceFile {
 public:
  /// Raises ToolError (cannot create).
  TraceFile(std::filesystem::path path, TraceFormat format);

  void Write(const TraceEntry& entry) { writer_.Write(entry); }

  /// Raises ToolError (input/output) where not everything could be written.
  void Close();

 private:
  std::filesystem::path path_;
  std::ofstream stream_;
  TraceWriter writer_;
};

}  // namespace quillmark::host
