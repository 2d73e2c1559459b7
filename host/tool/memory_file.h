// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "quillmark/host/files.h"
#include "quillmark/host/image_file.h"
#include "quillmark/memory_image.h"

namespace quillmark::host {

/// A file that takes what was read from an ECU, in the format of its extension.
class MemoryFile {
 public:
  /// Raises CannotCreateFile.
  MemoryFile(std::string path, Existing existing);

  struct Content {
    ImageFormat format;
    std::uint64_t bytes;
    /// Of a raw binary: bytes between the segments.
    std::uint64_t filled_bytes;
  };

  /// Writes the whole file, once; it is on the disk when this returns. Raises CannotWriteFile.
  Content Write(const MemoryImage& memory, std::uint8_t fill);

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
  OutputFile file_;
};

}  // namespace quillmark::host
