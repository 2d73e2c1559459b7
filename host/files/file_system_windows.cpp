// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/files/file_system.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

/// The last error of Windows as the nearest value of errno.
int LastError() {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return EACCES;
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILE_EXISTS:
      return EEXIST;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ENOSPC;
    case ERROR_WRITE_PROTECT:
      return EROFS;
    case ERROR_INVALID_NAME:
    case ERROR_FILENAME_EXCED_RANGE:
      return EINVAL;
    default:
      return EIO;
  }
}

/// Others may read, replace and move the file meanwhile, as they may on other systems.
int Open(const fs::path& path, DWORD disposition) {
  constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, kShared, nullptr, disposition,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    errno = LastError();
    return -1;
  }
  return _open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_BINARY | _O_NOINHERIT);
}

}  // namespace

/// The full name of a device begins with it.
bool NamesDevice(const fs::path& path) {
  constexpr std::wstring_view kDevices = L"\\\\.\\";
  std::wstring name(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  GetFullPathNameW(path.c_str(), static_cast<DWORD>(name.size()), name.data(), nullptr);
  return name.starts_with(kDevices);
}

int ErrorOfReplacing(const fs::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  const bool is_read_only =
      attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  return is_read_only ? EACCES : 0;
}

int CreateNewFile(const fs::path& path, unsigned /*mode*/) { return Open(path, CREATE_NEW); }

int OpenDevice(const fs::path& path) { return Open(path, OPEN_EXISTING); }

std::ptrdiff_t WriteTo(int descriptor, const char* bytes, std::size_t size) {
  constexpr std::size_t kMost = 1U << 30U;
  return _write(descriptor, bytes, static_cast<unsigned>(std::min(size, kMost)));
}

int CloseFile(int descriptor) { return _close(descriptor); }

int SyncFile(int descriptor) {
  const auto file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
  if (GetFileType(file) != FILE_TYPE_DISK || FlushFileBuffers(file) != FALSE) {
    return 0;
  }
  errno = LastError();
  return -1;
}

/// MoveFileTo has done it.
int SyncFolder(const fs::path& /*folder*/) { return 0; }

int MoveFileTo(const fs::path& from, const fs::path& to, Existing existing) {
  const DWORD replace = existing == Existing::kReplaced ? MOVEFILE_REPLACE_EXISTING : 0;
  const BOOL moved = MoveFileExW(from.c_str(), to.c_str(), replace | MOVEFILE_WRITE_THROUGH);
  return moved != FALSE ? 0 : LastError();
}

/// A file gets those of its folder.
void SetPermissions(const fs::path& /*path*/, unsigned /*mode*/) {}

}  // namespace quillmark::host
