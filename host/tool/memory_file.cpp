// SPDX-License-Identifier: MIT
#include "host/tool/memory_file.h"

#include <utility>

#include "host/tool/transfer_options.h"

namespace quillmark::host {
namespace {

// The segments of what was read, joined where they are adjacent.
ImageSegments SegmentsOf(const MemoryImage& memory, const std::string& file) {
  ImageBuilder builder(file);
  for (const auto& segment : memory.Segments()) {
    const auto bytes = BytesOfHex(segment->Hex());
    builder.Add(static_cast<std::uint32_t>(segment->StartAddress()), *bytes, 1);
  }
  return builder.Finish().segments;
}

}  // namespace

MemoryFile::MemoryFile(std::string path, Existing existing)
    : path_(std::move(path)), file_(path_, existing) {}

MemoryFile::Content MemoryFile::Write(const MemoryImage& memory, std::uint8_t fill) {
  const ImageSegments segments = SegmentsOf(memory, path_);
  const ImageFormat format = FormatOfName(path_);
  const std::uint64_t filled_bytes = WriteImage(file_.stream(), format, segments, fill);
  file_.CommitToDisk();
  return {format, SizeOf(segments), filled_bytes};
}

}  // namespace quillmark::host
