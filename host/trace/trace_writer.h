// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <ostream>

#include "host/trace/trace.h"

namespace quillmark::host {

/// Writes each entry as a line of a format. Frames of a gateway carry the numbers of its line and
/// its channel instead of identifiers. CAN formats have no breaks.
class TraceWriter {
 public:
  using Clock = std::chrono::system_clock;

  /// Writes the head of the file. `out` must outlive the writer. `began` is the date of the trace,
  /// which candump logs count from.
  TraceWriter(std::ostream& out, TraceFormat format, Clock::time_point began);

  void Write(const TraceEntry& entry);

 private:
  void WriteHead();
  void WriteCandump(const TraceEntry& entry);
  void WriteAsc(const TraceEntry& entry);
  void WriteKLine(const TraceEntry& entry);

  std::ostream& out_;
  TraceFormat format_;
  Duration began_;
};

}  // namespace quillmark::host
