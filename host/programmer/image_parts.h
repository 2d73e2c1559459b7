// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "quillmark/host/memory_ranges.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// The most segments of an image that the component is given at once, since it needs up to 1 kB of
/// memory for each. An image of more is downloaded in parts.
inline constexpr std::size_t kSegmentsAtOnce = 16'384;

/// The bytes of a byte string, without its addresses.
[[nodiscard]] Bytes BytesOf(const ByteString& string);

/// The number of bytes of an image or a map. Raises ProgrammingError (`Cause::kArgument`) where it
/// is 0, where an address is outside 0..0xFFFFFF and where two segments or ranges overlap.
[[nodiscard]] std::uint64_t CheckedSize(const MemoryImage& image);
[[nodiscard]] std::uint64_t CheckedSize(const MemoryMap& map);

/// The bytes of `image` from `address` on, which one of its segments holds, and of all segments
/// after that one.
[[nodiscard]] std::shared_ptr<MemoryImage> RestOf(const MemoryImage& image, std::uint32_t address,
                                                  Platform& platform);

/// What became of the bytes of an image.
struct Comparison {
  std::uint64_t equal_bytes = 0;
  std::uint64_t different_bytes = 0;
  /// The first 16.
  std::vector<Difference> differences;
};

/// Compares every byte of `image` with what was `found`.
[[nodiscard]] Comparison Compare(const MemoryImage& image, const MemoryImage& found);

}  // namespace quillmark::host
