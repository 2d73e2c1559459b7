// SPDX-License-Identifier: MIT
#include <array>
#include <cerrno>
#include <streambuf>
#include <utility>

#include "host/files/file_system.h"

namespace quillmark::host {

/// What a stream has not written yet, and the descriptor to which it goes.
class FileBuffer : public std::streambuf {
 public:
  explicit FileBuffer(int descriptor);

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

FileStream::FileStream(int descriptor)
    : std::ostream(nullptr), buffer_(std::make_unique<FileBuffer>(descriptor)) {
  rdbuf(buffer_.get());
}

FileStream::~FileStream() { static_cast<void>(buffer_->Close()); }

void FileStream::Sync() {
  if (!flush() || !buffer_->SyncDisk()) {
    setstate(badbit);
  }
}

void FileStream::Close() {
  flush();
  if (!buffer_->Close()) {
    setstate(badbit);
  }
}

int FileStream::error() const { return buffer_->error(); }

FileBuffer::FileBuffer(int descriptor) : descriptor_(descriptor) {
  setp(bytes_.data(), bytes_.data() + bytes_.size());
}

bool FileBuffer::SyncDisk() { return SyncFile(descriptor_) == 0 || Fail(); }

bool FileBuffer::Close() {
  const int descriptor = std::exchange(descriptor_, -1);
  // A file on a network may report only now that the disk is full.
  if (descriptor != -1 && CloseFile(descriptor) != 0) {
    return Fail();
  }
  return error_ == 0;
}

FileBuffer::int_type FileBuffer::overflow(int_type character) {
  if (!WriteOut()) {
    return traits_type::eof();
  }
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(character);
    pbump(1);
  }
  return traits_type::not_eof(character);
}

int FileBuffer::sync() { return WriteOut() ? 0 : -1; }

bool FileBuffer::WriteOut() {
  if (error_ != 0) {
    return false;
  }
  for (const char* next = pbase(); next != pptr();) {
    const std::ptrdiff_t size = WriteTo(descriptor_, next, static_cast<std::size_t>(pptr() - next));
    if (size >= 0) {
      next += size;
    } else if (errno != EINTR) {
      return Fail();
    }
  }
  setp(bytes_.data(), bytes_.data() + bytes_.size());
  return true;
}

bool FileBuffer::Fail() {
  if (error_ == 0) {
    error_ = errno;
  }
  // Without space, nothing is kept for later.
  setp(nullptr, nullptr);
  return false;
}

}  // namespace quillmark::host
