// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quillmark/export.h"

namespace quillmark::host {

class FileBuffer;

/// A path from its text in UTF-8. The constructors of a path read a text differently on Windows,
/// where the text of a path is UTF-8 again.
[[nodiscard]] inline std::filesystem::path Utf8Path(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

/// Writes through a file descriptor. The first write that fails is the last: the stream is bad from
/// then on, nothing more reaches the file, and the reason is kept.
class QUILLMARK_API FileStream : public std::ostream {
 public:
  /// Takes ownership of the descriptor.
  explicit FileStream(int descriptor);
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;
  FileStream(FileStream&&) = delete;
  FileStream& operator=(FileStream&&) = delete;
  /// Closes the file. What was not flushed is dropped.
  ~FileStream() override;

  /// Flushes, and returns once the disk has what was written. The stream is bad if that fails.
  void Sync();

  /// Flushes and closes. The stream is bad if anything has failed since it was opened.
  void Close();

  /// Why the stream is bad, a value of errno; 0 if it is not.
  [[nodiscard]] int error() const;

 private:
  std::unique_ptr<FileBuffer> buffer_;
};

/// What is wrong with a file. what() names file and reason.
class QUILLMARK_API FileError : public std::runtime_error {
 public:
  /// `error` is a value of errno.
  FileError(const std::filesystem::path& path, int error, const std::string& reason)
      : std::runtime_error(path.string() + ": " + reason), path_(path.string()), error_(error) {}

  /// As it was named.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  /// Why, a value of errno; 0 for a reason that it has no value for.
  [[nodiscard]] int error() const noexcept { return error_; }

 private:
  std::string path_;
  int error_;
};

/// A file that cannot be read.
class QUILLMARK_API CannotReadFile : public FileError {
 public:
  using FileError::FileError;
};

/// A file that is larger than what is read, which may have no end. what() names file and limit.
class QUILLMARK_API FileTooLarge : public CannotReadFile {
 public:
  /// `most` is the limit in bytes.
  FileTooLarge(const std::filesystem::path& path, std::uint64_t most);
};

/// The content of a file, a pipe or a device, at most `most` bytes. Raises CannotReadFile.
[[nodiscard]] QUILLMARK_API std::string ReadFile(const std::filesystem::path& path,
                                                 std::uint64_t most);

/// The rest of `in`, at most `most` bytes; `path` is its name for messages. Raises CannotReadFile.
[[nodiscard]] QUILLMARK_API std::string ReadRest(std::istream& in,
                                                 const std::filesystem::path& path,
                                                 std::uint64_t most);

/// A file that cannot be created, before anything was written.
class QUILLMARK_API CannotCreateFile : public FileError {
 public:
  using FileError::FileError;
};

/// A file that was not written completely.
class QUILLMARK_API CannotWriteFile : public FileError {
 public:
  using FileError::FileError;
};

/// What happens to an existing file with the name of an output file.
enum class Existing : std::uint8_t {
  kKept,      ///< it stays, whenever it appeared, and the output file fails
  kReplaced,  ///< it is replaced by one with the same permissions
};

/// A file that appears with its whole content or not at all: it is written beside its place, under
/// a name that nobody can predict, and moved there by `Commit`. Anything but a regular file, such
/// as a device, is written directly.
class QUILLMARK_API OutputFile {
 public:
  /// Raises CannotCreateFile. Create it early, so that long work is not lost.
  OutputFile(std::filesystem::path path, Existing existing);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  OutputFile(OutputFile&&) = delete;
  OutputFile& operator=(OutputFile&&) = delete;
  /// Removes the file if it has not been moved to its place.
  ~OutputFile();

  /// Where the content is written; not after `Commit`.
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
  /// Raises CannotCreateFile for -1.
  void Use(int descriptor);
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
QUILLMARK_API void WriteFile(const std::filesystem::path& path, std::string_view content);

/// Where the environment has the user's files of one kind: the folder that `variable` names, or
/// `below_home` in $HOME. Empty if neither is an absolute path.
[[nodiscard]] QUILLMARK_API std::filesystem::path UserFolder(
    const char* variable, const std::filesystem::path& below_home);

/// Creates a folder with those above it, as far as they do not exist. Raises CannotCreateFile.
QUILLMARK_API void CreateFolders(const std::filesystem::path& folder);

}  // namespace quillmark::host
