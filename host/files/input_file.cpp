// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kPiece = 0x100000;

std::string SizeText(std::uint64_t bytes) {
  constexpr std::uint64_t kMebibyte = 0x100000;
  return bytes % kMebibyte == 0 ? fmt::format("{} MiB", bytes / kMebibyte)
                                : fmt::format("{} bytes", bytes);
}

/// 0 for what has none, such as a pipe.
std::uint64_t SizeOf(const fs::path& path) {
  std::error_code error;
  const bool is_file = fs::is_regular_file(path, error);
  const std::uintmax_t size = is_file ? fs::file_size(path, error) : 0;
  return error ? 0 : size;
}

}  // namespace

FileTooLarge::FileTooLarge(const fs::path& path, std::uint64_t most)
    : CannotReadFile(path, EFBIG, fmt::format("expected at most {}, found more", SizeText(most))) {}

std::string ReadFile(const fs::path& path, std::uint64_t most) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) {
    throw CannotReadFile(path, EISDIR, "is a directory");
  }
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) {
    throw CannotReadFile(path, errno, std::strerror(errno));
  }
  if (SizeOf(path) > most) {
    throw FileTooLarge(path, most);
  }
  return ReadRest(file, path, most);
}

std::string ReadRest(std::istream& in, const fs::path& path, std::uint64_t most) {
  std::string content;
  content.reserve(static_cast<std::size_t>(std::min(SizeOf(path), most) + kPiece));
  while (in && content.size() <= most) {
    const std::size_t size = content.size();
    content.resize(static_cast<std::size_t>(std::min(size + kPiece, most + 1)));
    in.read(content.data() + size, static_cast<std::streamsize>(content.size() - size));
    content.resize(size + static_cast<std::size_t>(in.gcount()));
  }
  if (content.size() > most) {
    throw FileTooLarge(path, most);
  }
  if (in.bad()) {
    throw CannotReadFile(path, errno, std::strerror(errno));
  }
  return content;
}

}  // namespace quillmark::host
