// SPDX-License-Identifier: MIT
#include "host/tool/memory_file.h"

#include <utility>

namespace quillmark::host {
MemoryFile::MemoryFile(std::string path, Existing existing)
    : path_(std::move(path)), file_(Utf8Path(path_), existing) {}

MemoryFile::Content MemoryFile::Write(const MemoryImage& memory, std::uint8_t fill) {
  const ImageSegments segments = SegmentsOf(memory, path_);
  const ImageFormat format = FormatOfName(Utf8Path(path_));
  const std::uint64_t filled_bytes = WriteImage(file_.stream(), format, segments, fill);
  file_.CommitToDisk();
  return {format, SizeOf(segments), filled_bytes};
}

}  // namespace quillmark::host
