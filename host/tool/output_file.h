// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>

namespace quillmark::host {

/// A file that appears with its whole content or not at all: it is written beside its place and
/// moved there by `Commit`. What is no regular file, such as a device, is written directly.
class OutputFile {
 public:
  /// Raises ToolError (cannot create). Creating it early keeps long work from being lost.
  explicit OutputFile(std::filesystem::path path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  OutputFile(OutputFile&&) = delete;
  OutputFile& operator=(OutputFile&&) = delete;
  /// Removes what was not committed.
  ~OutputFile();

  [[nodiscard]] std::ostream& stream() { return stream_; }

  /// Raises ToolError (input/output) where not everything could be written.
  void Commit();

 private:
  std::filesystem::path path_;
  std::filesystem::path written_path_;
  std::ofstream stream_;
  bool committed_ = false;
};

}  // namespace quillmark::host
