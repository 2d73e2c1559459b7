// SPDX-License-Identifier: MIT
#include "host/tool/outputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "host/tool/exit_code.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const NamedPath& name, const std::string& why, const char* next) {
  throw ToolError(ExitCode::kCannotCreate, fmt::format("{}: {}", name.path, why), next);
}

/// Without the slash at the end, with which a link to a folder is the folder itself.
fs::path Trimmed(const fs::path& path) {
  return path.has_filename() || !path.has_parent_path() ? path : path.parent_path();
}

/// The one path of a file, whether it exists or not.
fs::path PlaceOf(const fs::path& path) {
  std::error_code ignored;
  const fs::path place = fs::weakly_canonical(fs::absolute(Trimmed(path), ignored), ignored);
  return place.empty() ? path : place;
}

bool IsSpecial(const fs::path& path) {
  std::error_code ignored;
  const fs::file_status found = fs::status(path, ignored);
  return fs::exists(found) && !fs::is_regular_file(found) && !fs::is_directory(found);
}

bool IsStandardOutput(const std::string& path) {
  constexpr std::array<std::string_view, 4> kNames{"-", "/dev/stdout", "/dev/fd/1",
                                                   "/proc/self/fd/1"};
  return std::find(kNames.begin(), kNames.end(), path) != kNames.end();
}

bool AreSame(const fs::path& a, const fs::path& b) {
  std::error_code ignored;
  return fs::equivalent(a, b, ignored) || PlaceOf(a) == PlaceOf(b);
}

bool LiesIn(const fs::path& path, const fs::path& folder) {
  const fs::path place = PlaceOf(path);
  const fs::path around = PlaceOf(folder);
  return std::mismatch(around.begin(), around.end(), place.begin(), place.end()).first ==
         around.end();
}

void CheckPlace(const Output& output, Existing existing) {
  if (output.kind == OutputKind::kMadeAgain || output.kind == OutputKind::kAddedTo) {
    return;
  }
  std::error_code ignored;
  const NamedPath& name = output.name;
  const fs::file_status found = fs::symlink_status(Trimmed(Utf8Path(name.path)), ignored);
  if (fs::is_symlink(found)) {
    Refuse(name, fmt::format("{} would replace a symbolic link", name.option),
           "name the file that it leads to");
  }
  if (!fs::is_regular_file(found) || output.kind == OutputKind::kFolder) {
    return;
  }
  if (output.kind == OutputKind::kBackup) {
    Refuse(name, fmt::format("exists already, and {} never replaces a file", name.option),
           "name another file; this one may hold the only good copy of a memory");
  }
  if (existing == Existing::kKept) {
    Refuse(name,
           fmt::format("exists already, and {} replaces a file with --force alone", name.option),
           "name another file, or add --force");
  }
}

void CheckAgainst(const NamedPath& other, const Output& output) {
  const NamedPath& name = output.name;
  if (AreSame(Utf8Path(name.path), Utf8Path(other.path))) {
    Refuse(name, fmt::format("{} and {} are the same file", name.option, other.option),
           "name another file");
  }
  if (output.kind == OutputKind::kFolder && LiesIn(Utf8Path(other.path), Utf8Path(name.path))) {
    Refuse(other, fmt::format("{} lies in the folder of {}", other.option, name.option),
           "name a file elsewhere: the folder is for what one run leaves alone");
  }
}

}  // namespace

Existing ExistingWith(bool force) { return force ? Existing::kReplaced : Existing::kKept; }

void CheckOutputs(const std::vector<NamedPath>& inputs, const std::vector<Output>& outputs,
                  Existing existing) {
  std::vector<NamedPath> others = inputs;
  for (const Output& output : outputs) {
    if (IsStandardOutput(output.name.path)) {
      Refuse(output.name,
             fmt::format("{} names the standard output, which has what the command says",
                         output.name.option),
             "name a file");
    }
    others.push_back(output.name);
  }
  std::erase_if(others, [](const NamedPath& name) {
    return name.path.empty() || IsSpecial(Utf8Path(name.path));
  });
  for (const Output& output : outputs) {
    if (output.name.path.empty() || IsSpecial(Utf8Path(output.name.path))) {
      continue;
    }
    for (const NamedPath& other : others) {
      if (other.option != output.name.option) {
        CheckAgainst(other, output);
      }
    }
    CheckPlace(output, existing);
  }
}

}  // namespace quillmark::host
