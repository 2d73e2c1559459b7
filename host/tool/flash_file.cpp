// SPDX-License-Identifier: MIT
#include "host/tool/flash_file.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/tool/exit_code.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"

namespace quillmark::host {

Bytes FlashFile::Load() const {
  if (path_.empty() || !std::filesystem::exists(Utf8Path(path_))) {
    return {};
  }
  std::string content;
  try {
    content = ReadFile(Utf8Path(path_), size_);
  } catch (const FileTooLarge&) {
    RefuseSize("more");
  }
  if (content.size() != size_) {
    RefuseSize(BytesText(content.size()));
  }
  return {content.begin(), content.end()};
}

void FlashFile::Save(const SimulatedEcu& ecu) {
  if (path_.empty() || (saved_ && ecu.memory_changes() == saved_changes_)) {
    return;
  }
  OutputFile file(Utf8Path(path_), Existing::kReplaced);
  const Bytes content = ecu.ReadMemory(0, size_);
  file.stream().write(reinterpret_cast<const char*>(content.data()),
                      static_cast<std::streamsize>(content.size()));
  file.Commit();
  saved_ = true;
  saved_changes_ = ecu.memory_changes();
}

void FlashFile::RefuseSize(const std::string& found) const {
  throw ToolError(
      ExitCode::kNoInput,
      fmt::format("{}: expected a memory of {}, found {}", path_, BytesText(size_), found),
      "give the size of the file with --size, or name another file");
}

}  // namespace quillmark::host
