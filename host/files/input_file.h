// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <istream>
#include <stdexcept>
#include <string>

namespace quillmark::host {

/// A file that cannot be read. what() names file and reason.
class CannotReadFile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file that is larger than what is read, which may have no end. what() names file and limit.
class FileTooLarge : public CannotReadFile {
 public:
  FileTooLarge(const std::filesystem::path& path, std::uint64_t most);
};

/// The content of a file, a pipe or a device, at most `most` bytes. Raises CannotReadFile.
[[nodiscard]] std::string ReadFile(const std::filesystem::path& path, std::uint64_t most);

/// The rest of `in`, at most `most` bytes; `path` is its name for messages. Raises CannotReadFile.
[[nodiscard]] std::string ReadRest(std::istream& in, const std::filesystem::path& path,
                                   std::uint64_t most);

}  // namespace quillmark::host
