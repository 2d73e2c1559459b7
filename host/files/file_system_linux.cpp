// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "host/files/file_system.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

/// Moves a file to a place where there must be none.
int MoveToFreePlace(const fs::path& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
    return 0;
  }
  // Not every file system knows this flag.
  if (errno != EINVAL && errno != ENOSYS) {
    return errno;
  }
  if (::link(from.c_str(), to.c_str()) != 0) {
    return errno;
  }
  ::unlink(from.c_str());
  return 0;
}

}  // namespace

bool NamesDevice(const fs::path& /*path*/) { return false; }

/// Only the folder has to be writable.
int ErrorOfReplacing(const fs::path& /*path*/) { return 0; }

int CreateNewFile(const fs::path& path, unsigned mode) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
}

int OpenDevice(const fs::path& path) {
  return ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
}

std::ptrdiff_t WriteTo(int descriptor, const char* bytes, std::size_t size) {
  return ::write(descriptor, bytes, size);
}

int CloseFile(int descriptor) { return ::close(descriptor); }

int SyncFile(int descriptor) {
  const int status = ::fsync(descriptor);
  return status != 0 && (errno == EINVAL || errno == EROFS) ? 0 : status;
}

int SyncFolder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor == -1) {
    // A folder may be writable and yet not readable.
    ::sync();
    return 0;
  }
  FileStream stream(descriptor);
  stream.Sync();
  return stream.error();
}

int MoveFileTo(const fs::path& from, const fs::path& to, Existing existing) {
  if (existing == Existing::kKept) {
    return MoveToFreePlace(from, to);
  }
  return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

void SetPermissions(const fs::path& path, unsigned mode) { ::chmod(path.c_str(), mode); }

}  // namespace quillmark::host
