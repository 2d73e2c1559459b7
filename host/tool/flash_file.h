// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "quillmark/host/bytes.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// The flash of a simulated ECU as a raw binary, from address 0 to its end.
class FlashFile {
 public:
  /// Without a `path` nothing is kept.
  FlashFile(std::string path, std::uint32_t size) : path_(std::move(path)), size_(size) {}

  /// What the last run left; empty if there was none. Raises ToolError for a file of another size,
  /// and CannotReadFile.
  [[nodiscard]] Bytes Load() const;

  /// Writes what has changed since the last time. Raises CannotCreateFile and CannotWriteFile.
  void Save(const SimulatedEcu& ecu);

 private:
  [[noreturn]] void RefuseSize(const std::string& found) const;

  std::string path_;
  std::uint32_t size_;
  bool saved_ = false;
  std::uint64_t saved_changes_ = 0;
};

}  // namespace quillmark::host
