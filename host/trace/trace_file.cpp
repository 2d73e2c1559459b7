// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <stdexcept>
#include <utility>

#include "quillmark/host/trace.h"

namespace quillmark::host {

TraceFormat TraceFormatOfName(const std::filesystem::path& path, TransportForm form) {
  const std::string extension = path.extension().string();
  if (form == TransportForm::kKLine) {
    if (extension == ".log" || extension == ".txt") {
      return TraceFormat::kKLine;
    }
    throw std::invalid_argument(
        fmt::format("expected a file .log or .txt for a K line, which has no CAN frames, "
                    "found \"{}\"",
                    path.string()));
  }
  if (extension == ".log") {
    return TraceFormat::kCandump;
  }
  if (extension == ".asc") {
    return TraceFormat::kAsc;
  }
  throw std::invalid_argument(fmt::format(
      "expected a file .log (candump) or .asc (Vector ASC), found \"{}\"", path.string()));
}

TraceFile::TraceFile(std::filesystem::path path, TraceFormat format, Existing existing)
    : file_(std::move(path), existing),
      writer_(file_.stream(), format, TraceWriter::Clock::now()) {}

void TraceFile::TakePlace() {
  if (!std::exchange(in_place_, true)) {
    file_.TakePlace();
  }
}

void TraceFile::Write(const TraceEntry& entry) {
  writer_.Write(entry);
  file_.stream().flush();
  TakePlace();
}

void TraceFile::Close() {
  if (in_place_) {
    file_.Commit();
  }
}

}  // namespace quillmark::host
