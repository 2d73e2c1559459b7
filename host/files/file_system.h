// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>

#include "quillmark/host/files.h"

/// What the C++ library cannot do with files; each is done by file_system_linux.cpp or
/// file_system_windows.cpp. Errors are values of errno, 0 for success.
namespace quillmark::host {

/// Whether the system reads this name as that of a device, in whichever folder: `nul` and `com1` on
/// Windows, nothing elsewhere.
[[nodiscard]] bool NamesDevice(const std::filesystem::path& path);
/// What keeps a file that exists from being replaced, as far as that shows beforehand; else 0.
[[nodiscard]] int ErrorOfReplacing(const std::filesystem::path& path);

/// A descriptor for writing, or -1 with `errno` set. A file that is created did not exist before;
/// it may be moved while it is open. `mode`: its permissions, less those that the process masks.
[[nodiscard]] int CreateNewFile(const std::filesystem::path& path, unsigned mode);
/// The same of a device or a pipe that exists.
[[nodiscard]] int OpenDevice(const std::filesystem::path& path);

/// As write() and close() do.
[[nodiscard]] std::ptrdiff_t WriteTo(int descriptor, const char* bytes, std::size_t size);
[[nodiscard]] int CloseFile(int descriptor);

/// Returns once the disk has what was written; -1 with `errno` set if that fails. Anything but a
/// file on a disk, such as a pipe, has nothing to wait for.
[[nodiscard]] int SyncFile(int descriptor);
/// The same of the names in a folder. Returns the error.
[[nodiscard]] int SyncFolder(const std::filesystem::path& folder);

/// Moves a file within its file system. Returns the error.
[[nodiscard]] int MoveFileTo(const std::filesystem::path& from, const std::filesystem::path& to,
                             Existing existing);

/// Gives a file the permissions `mode`, whatever the process masks.
void SetPermissions(const std::filesystem::path& path, unsigned mode);

}  // namespace quillmark::host
