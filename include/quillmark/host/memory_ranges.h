// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "quillmark/byte_string.h"
#include "quillmark/export.h"
#include "quillmark/host/programmer.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// The bytes of a byte string, without its addresses.
[[nodiscard]] QUILLMARK_API Bytes BytesOf(const ByteString& string);

/// The number of bytes of an image or a map. Raises ProgrammingError (`Cause::kArgument`) where it
/// is 0, where an address is outside 0..0xFFFFFF and where two segments or ranges overlap.
[[nodiscard]] QUILLMARK_API std::uint64_t CheckedSize(const MemoryImage& image);
/// The same of a map.
[[nodiscard]] QUILLMARK_API std::uint64_t CheckedSize(const MemoryMap& map);

/// The most segments of an image that the component is given at once, since it needs up to 1 kB of
/// memory for each. An image of more is downloaded in parts.
inline constexpr std::size_t kSegmentsAtOnce = 16'384;

/// An image of copies of these segments.
[[nodiscard]] QUILLMARK_API std::shared_ptr<MemoryImage> ImageOf(
    std::span<const std::shared_ptr<ByteString>> segments, Platform& platform);

/// The number of bytes of all segments, whatever their addresses are.
[[nodiscard]] QUILLMARK_API std::uint64_t SizeOf(const MemoryImage& image);
/// The number of bytes of all ranges, whatever their addresses are.
[[nodiscard]] QUILLMARK_API std::uint64_t SizeOf(const MemoryMap& map);

/// The bytes of `image` from `address` on, which one of its segments holds, and of all segments
/// after that one.
[[nodiscard]] QUILLMARK_API std::shared_ptr<MemoryImage> RestOf(const MemoryImage& image,
                                                                std::uint32_t address,
                                                                Platform& platform);

/// What became of the bytes of an image.
struct Comparison {
  std::uint64_t equal_bytes = 0;      ///< those with the value of the image
  std::uint64_t different_bytes = 0;  ///< those with another value or none
  /// The first 16.
  std::vector<Difference> differences;
};

/// Compares every byte of `image` with what was `found`.
[[nodiscard]] QUILLMARK_API Comparison Compare(const MemoryImage& image, const MemoryImage& found);

}  // namespace quillmark::host
