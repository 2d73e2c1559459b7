// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <ostream>
#include <streambuf>

namespace quillmark::host {

/// Writes through a file descriptor. The first write that fails is the last: the stream is bad from
/// then on, nothing more reaches the file, and the reason is kept.
class FileStream : public std::ostream {
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
  [[nodiscard]] int error() const { return buffer_.error(); }

 private:
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(int descriptor);

    [[nodiscard]] bool SyncDisk();
    [[nodiscard]] bool Close();
    [[nodiscard]] int error() const { return error_; }

   protected:
    int_type overflow(int_type character) override;
    int sync() override;

   private:
    [[nodiscard]] bool WriteOut();
    [[nodiscard]] bool Fail();

    int descriptor_;
    int error_ = 0;
    std::array<char, 0x4000> bytes_{};
  };

  Buffer buffer_;
};

}  // namespace quillmark::host
