// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "quillmark/byte_string.h"
#include "quillmark/export.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// The number of bytes of all segments, whatever their addresses are.
[[nodiscard]] QUILLMARK_API std::uint64_t SizeOf(const MemoryImage& image);
/// The number of bytes of all ranges, whatever their addresses are.
[[nodiscard]] QUILLMARK_API std::uint64_t SizeOf(const MemoryMap& map);

/// An image of copies of these segments.
[[nodiscard]] QUILLMARK_API std::shared_ptr<MemoryImage> ImageOf(
    std::span<const std::shared_ptr<ByteString>> segments, Platform& platform);

}  // namespace quillmark::host
