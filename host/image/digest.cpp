// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nettle/sha2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "quillmark/host/image_file.h"

namespace quillmark::host {
namespace {

class Sha256 {
 public:
  Sha256() { ::sha256_init(&context_); }

  void Add(std::span<const std::uint8_t> bytes) {
    ::sha256_update(&context_, bytes.size(), bytes.data());
  }

  std::string Hex() {
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
    ::sha256_digest(&context_, digest.size(), digest.data());
    return fmt::format("{:02x}", fmt::join(digest, ""));
  }

 private:
  ::sha256_ctx context_{};
};

}  // namespace

std::string Sha256Of(const ImageSegments& segments) {
  Sha256 digest;
  for (const ImageSegment& segment : segments) {
    digest.Add(segment.bytes);
  }
  return digest.Hex();
}

std::string Sha256Of(const MemoryImage& image) {
  auto segments = image.Segments();
  std::sort(segments.begin(), segments.end(),
            [](const auto& a, const auto& b) { return a->StartAddress() < b->StartAddress(); });
  Sha256 digest;
  for (const auto& segment : segments) {
    segment->ReadBytes([&digest](std::span<const std::uint8_t> bytes) { digest.Add(bytes); });
  }
  return digest.Hex();
}

}  // namespace quillmark::host
