// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "quillmark/host/files.h"

namespace quillmark::host {

FileStream::FileStream(int descriptor) : std::ostream(nullptr), buffer_(descriptor) {
  rdbuf(&buffer_);
}

FileStream::~FileStream() { static_cast<void>(buffer_.Close()); }

void FileStream::Sync() {
  if (!flush() || !buffer_.SyncDisk()) {
    setstate(badbit);
  }
}

void FileStream::Close() {
  flush();
  if (!buffer_.Close()) {
    setstate(badbit);
  }
}

FileStream::Buffer::Buffer(int descriptor) : descriptor_(descriptor) {
  setp(bytes_.data(), bytes_.data() + bytes_.size());
}

bool FileStream::Buffer::SyncDisk() {
  // Anything but a file on a disk, such as a pipe, has nothing to wait for.
  const bool synced = ::fsync(descriptor_) == 0 || errno == EINVAL || errno == EROFS;
  return synced || Fail();
}

bool FileStream::Buffer::Close() {
  const int descriptor = std::exchange(descriptor_, -1);
  // A file on a network may report only now that the disk is full.
  if (descriptor != -1 && ::close(descriptor) != 0) {
    return Fail();
  }
  return error_ == 0;
}

FileStream::Buffer::int_type FileStream::Buffer::overflow(int_type character) {
  if (!WriteOut()) {
    return traits_type::eof();
  }
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(character);
    pbump(1);
  }
  return traits_type::not_eof(character);
}

int FileStream::Buffer::sync() { return WriteOut() ? 0 : -1; }

bool FileStream::Buffer::WriteOut() {
  if (error_ != 0) {
    return false;
  }
  for (const char* next = pbase(); next != pptr();) {
    const ssize_t size = ::write(descriptor_, next, static_cast<std::size_t>(pptr() - next));
    if (size >= 0) {
      next += size;
    } else if (errno != EINTR) {
      return Fail();
    }
  }
  setp(bytes_.data(), bytes_.data() + bytes_.size());
  return true;
}

bool FileStream::Buffer::Fail() {
  if (error_ == 0) {
    error_ = errno;
  }
  // Without space, nothing is kept for later.
  setp(nullptr, nullptr);
  return false;
}

}  // namespace quillmark::host
