// SPDX-License-Identifier: MIT
#include "host/tool/trace_file.h"

#include <fmt/format.h>

#include <CLI/Error.hpp>
#include <cerrno>
#include <cstring>
#include <utility>

#include "host/tool/exit_code.h"

namespace quillmark::host {
namespace {

std::ofstream Created(const std::filesystem::path& path) {
  errno = 0;
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  if (!stream) {
    throw ToolError(ExitCode::kCannotCreate,
                    fmt::format("{}: cannot create: {}", path.string(), std::strerror(errno)));
  }
  return stream;
}

}  // namespace

TraceFormat TraceFormatOfName(const std::filesystem::path& path, TransportForm form) {
  const std::string extension = path.extension().string();
  if (form == TransportForm::kKLine) {
    if (extension == ".log" || extension == ".txt") {
      return TraceFormat::kKLine;
    }
    throw CLI::ValidationError(
        "--trace",
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
  throw CLI::ValidationError(
      "--trace", fmt::format("expected a file .log (candump) or .asc (Vector ASC), found \"{}\"",
                             path.string()));
}

TraceFile::TraceFile(std::filesystem::path path, TraceFormat format)
    : path_(std::move(path)),
      stream_(Created(path_)),
      writer_(stream_, format, TraceWriter::Clock::now()) {}

void TraceFile::Close() {
  stream_.close();
  if (!stream_) {
    throw ToolError(ExitCode::kInputOutput,
                    fmt::format("{}: the trace could not be written to its end: {}", path_.string(),
                                std::strerror(errno)));
  }
}

}  // namespace quillmark::host
