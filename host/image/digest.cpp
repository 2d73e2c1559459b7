// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdint>
#include <span>

#include "host/image/sha256.h"
#include "quillmark/host/image_file.h"

namespace quillmark::host {
namespace {

std::string HexOf(Sha256& digest) { return fmt::format("{:02x}", fmt::join(digest.Finish(), "")); }

}  // namespace

std::string Sha256Of(const ImageSegments& segments) {
  Sha256 digest;
  for (const ImageSegment& segment : segments) {
    digest.Add(segment.bytes);
  }
  return HexOf(digest);
}

std::string Sha256Of(const MemoryImage& image) {
  auto segments = image.Segments();
  std::sort(segments.begin(), segments.end(),
            [](const auto& a, const auto& b) { return a->StartAddress() < b->StartAddress(); });
  Sha256 digest;
  for (const auto& segment : segments) {
    segment->ReadBytes([&digest](std::span<const std::uint8_t> bytes) { digest.Add(bytes); });
  }
  return HexOf(digest);
}

}  // namespace quillmark::host
