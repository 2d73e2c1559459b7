// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>

#include "host/files/output_file.h"
#include "host/trace/trace.h"
#include "host/trace/trace_writer.h"

namespace quillmark::host {

/// The format of a trace file of `form` by its name. Raises CLI::ValidationError for a name without
/// a format.
[[nodiscard]] TraceFormat TraceFormatOfName(const std::filesystem::path& path, TransportForm form);

/// A trace that grows as frames pass, each in the file before the next: whatever ends the tool,
/// what was seen is there. A file that can no longer be written, such as on a full disk, does not
/// stop the work on the ECU.
class TraceFile {
 public:
  /// Raises CannotCreateFile.
  TraceFile(std::filesystem::path path, TraceFormat format, Existing existing);

  /// Puts the file in its place, which the first entry does as well: a trace of nothing that nobody
  /// asked for is not left behind.
  void TakePlace();
  void Write(const TraceEntry& entry);

  /// Raises CannotWriteFile if not everything could be written.
  void Close();

 private:
  OutputFile file_;
  TraceWriter writer_;
  bool in_place_ = false;
};

}  // namespace quillmark::host
