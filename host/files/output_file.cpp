// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <system_error>
#include <utility>

#include "host/files/file_system.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kPermissions = 0777;
constexpr unsigned kNewFile = 0666;

/// What an environment variable names; empty for what depends on the current folder.
fs::path FolderIn(const char* variable) {
  const char* const value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe)
  const fs::path folder = value == nullptr ? "" : value;
  return folder.is_absolute() ? folder : fs::path();
}

/// A new name in the same folder that nobody can predict. A file system may allow as few as 255
/// bytes.
fs::path UnfinishedName(const fs::path& path) {
  constexpr std::size_t kMostOfTheName = 200;
  std::random_device random;
  const std::string name = path.filename().string().substr(0, kMostOfTheName);
  return path.parent_path() / fmt::format("{}.{:08x}{:08x}.part", name, random(), random());
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
  if (NamesDevice(path_) || (fs::exists(found) && !fs::is_regular_file(found))) {
    Use(OpenDevice(path_));
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
    if (const int error = ErrorOfReplacing(place_); error != 0) {
      RaiseCannotCreate(error);
    }
  }
  const fs::path unfinished = UnfinishedName(place_);
  Use(CreateNewFile(unfinished, mode));
  unfinished_ = unfinished;
  if (replaces) {
    // The file mode mask of the process may have removed some of them.
    SetPermissions(unfinished_, mode);
  }
}

void OutputFile::Use(int descriptor) {
  if (descriptor == -1) {
    RaiseCannotCreate(errno);
  }
  stream_.emplace(descriptor);
}

OutputFile::~OutputFile() {
  if (unfinished_.empty()) {
    return;
  }
  // Windows removes no file that is open.
  stream_.reset();
  std::error_code ignored;
  fs::remove(unfinished_, ignored);
}

void OutputFile::TakePlace() {
  if (unfinished_.empty() || error_ != 0) {
    return;
  }
  error_ = MoveFileTo(unfinished_, place_, existing_);
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
  if (NamesDevice(path_)) {
    throw CannotCreateFile(path_, error,
                           "expected the name of a file, found that of a device that cannot be "
                           "opened here");
  }
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

std::filesystem::path UserFolder(const char* variable, const std::filesystem::path& below_home) {
  const std::filesystem::path folder = FolderIn(variable);
  if (!folder.empty()) {
    return folder;
  }
  const std::filesystem::path home = FolderIn("HOME");
  return home.empty() ? home : home / below_home;
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
