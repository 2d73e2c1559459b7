// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <system_error>
#include <utility>

#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kPermissions = 0777;
constexpr unsigned kNewFile = 0666;

/// A new name in the same folder that nobody can predict. A file system may allow as few as 255
/// bytes.
fs::path UnfinishedName(const fs::path& path) {
  constexpr std::size_t kMostOfTheName = 200;
  std::random_device random;
  const std::string name = path.filename().string().substr(0, kMostOfTheName);
  return path.parent_path() / fmt::format("{}.{:08x}{:08x}.part", name, random(), random());
}

/// Moves a file to a place where there must be none; returns a value of errno.
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

int Move(const fs::path& from, const fs::path& to, Existing existing) {
  if (existing == Existing::kKept) {
    return MoveToFreePlace(from, to);
  }
  return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
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

}  // namespace

OutputFile::OutputFile(fs::path path, Existing existing)
    : path_(std::move(path)), place_(path_), existing_(existing) {
  std::error_code error;
  const fs::file_status found = fs::status(path_, error);
  if (found.type() == fs::file_type::none) {
    RaiseCannotCreate(error.value());
  }
  if (path_.empty()) {
    RaiseCannotCreate(ENOENT);
  }
  if (fs::exists(found) && !fs::is_regular_file(found)) {
    Open(path_, O_WRONLY | O_NOCTTY, 0);
    return;
  }
  if (existing_ == Existing::kKept && fs::exists(fs::symlink_status(path_, error))) {
    RaiseCannotCreate(EEXIST);
  }
  OpenBeside(found);
}

void OutputFile::OpenBeside(const fs::file_status& found) {
  const bool replaces = fs::is_regular_file(found);
  const auto mode = replaces ? static_cast<unsigned>(found.permissions()) & kPermissions : kNewFile;
  if (replaces) {
    // A link stays and leads to the new file.
    place_ = fs::canonical(path_);
  }
  const fs::path unfinished = UnfinishedName(place_);
  Open(unfinished, O_WRONLY | O_CREAT | O_EXCL, mode);
  unfinished_ = unfinished;
  if (replaces) {
    // The file mode mask of the process may have removed some of them.
    ::chmod(unfinished_.c_str(), mode);
  }
}

void OutputFile::Open(const fs::path& path, int flags, unsigned mode) {
  const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  if (descriptor == -1) {
    RaiseCannotCreate(errno);
  }
  stream_.emplace(descriptor);
}

OutputFile::~OutputFile() {
  if (!unfinished_.empty()) {
    ::unlink(unfinished_.c_str());
  }
}

void OutputFile::TakePlace() {
  if (unfinished_.empty() || error_ != 0) {
    return;
  }
  error_ = Move(unfinished_, place_, existing_);
  if (error_ == 0) {
    unfinished_.clear();
  }
}

void OutputFile::Commit() {
  stream_->Close();
  if (error_ == 0) {
    error_ = stream_->error();
  }
  TakePlace();
  RaiseWhereItFailed();
}

void OutputFile::CommitToDisk() {
  stream_->Sync();
  Commit();
  error_ = SyncFolder(place_.has_parent_path() ? place_.parent_path() : ".");
  RaiseWhereItFailed();
}

void OutputFile::RaiseCannotCreate(int error) const {
  throw CannotCreateFile(path_, error, fmt::format("cannot create: {}", std::strerror(error)));
}

void OutputFile::RaiseWhereItFailed() const {
  if (error_ != 0) {
    throw CannotWriteFile(path_, error_, fmt::format("cannot write: {}", std::strerror(error_)));
  }
}

void WriteFile(const fs::path& path, std::string_view content) {
  OutputFile file(path, Existing::kReplaced);
  file.stream() << content;
  file.Commit();
}

void CreateFolders(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw CannotCreateFile(folder, error.value(),
                           fmt::format("cannot create: {}", error.message()));
  }
}

}  // namespace quillmark::host
