// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "host/files/file_stream.h"

namespace quillmark::host {

/// A file that cannot be created, before anything was written. what() names file and reason.
class CannotCreateFile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file that was not written completely. what() names file and reason.
class CannotWriteFile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What happens to an existing file with the name of an output file.
enum class Existing : std::uint8_t {
  kKept,      ///< it stays, whenever it appeared, and the output file fails
  kReplaced,  ///< it is replaced by one with the same permissions
};

/// A file that appears with its whole content or not at all: it is written beside its place, under
/// a name that nobody can predict, and moved there by `Commit`. Anything but a regular file, such
/// as a device, is written directly.
class OutputFile {
 public:
  /// Raises CannotCreateFile. Create it early, so that long work is not lost.
  OutputFile(std::filesystem::path path, Existing existing);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  OutputFile(OutputFile&&) = delete;
  OutputFile& operator=(OutputFile&&) = delete;
  /// Removes the file if it has not been moved to its place.
  ~OutputFile();

  [[nodiscard]] FileStream& stream() { return *stream_; }

  /// Moves the file to its place before it is complete, for one that grows. If that fails, so does
  /// `Commit`.
  void TakePlace();

  /// Closes the file and moves it to its place. Raises CannotWriteFile.
  void Commit();

  /// The same, and returns only once the disk has the file and its name.
  void CommitToDisk();

 private:
  void OpenBeside(const std::filesystem::file_status& found);
  void Open(const std::filesystem::path& path, int flags, unsigned mode);
  [[noreturn]] void RaiseCannotCreate(int error) const;
  void RaiseWhereItFailed() const;

  std::filesystem::path path_;   ///< as it was named
  std::filesystem::path place_;  ///< where it belongs
  Existing existing_;
  std::filesystem::path unfinished_;  ///< where it is until then; empty afterwards
  std::optional<FileStream> stream_;
  int error_ = 0;
};

/// Writes a whole file and replaces what was there. Raises CannotCreateFile and CannotWriteFile.
void WriteFile(const std::filesystem::path& path, std::string_view content);

}  // namespace quillmark::host
