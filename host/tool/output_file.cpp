// SPDX-License-Identifier: MIT
#include "host/tool/output_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "host/tool/exit_code.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

fs::path WrittenPath(const fs::path& path) {
  std::error_code ignored;
  if (fs::exists(path, ignored) && !fs::is_regular_file(path, ignored)) {
    return path;
  }
  fs::path written = path;
  written += ".part";
  return written;
}

}  // namespace

OutputFile::OutputFile(fs::path path) : path_(std::move(path)), written_path_(WrittenPath(path_)) {
  errno = 0;
  stream_.open(written_path_, std::ios::binary | std::ios::trunc);
  if (!stream_) {
    throw ToolError(ExitCode::kCannotCreate,
                    fmt::format("{}: cannot create: {}", path_.string(), std::strerror(errno)));
  }
}

OutputFile::~OutputFile() {
  if (!committed_ && written_path_ != path_) {
    stream_.close();
    std::error_code ignored;
    fs::remove(written_path_, ignored);
  }
}

void OutputFile::Commit() {
  stream_.close();
  std::error_code error;
  if (stream_ && written_path_ != path_) {
    fs::rename(written_path_, path_, error);
  }
  if (!stream_ || error) {
    throw ToolError(ExitCode::kInputOutput,
                    fmt::format("{}: cannot write: {}", path_.string(),
                                error ? error.message() : std::strerror(errno)));
  }
  committed_ = true;
}

}  // namespace quillmark::host
