// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include "quillmark/dom.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"
#include "quillmark/platform.h"

/// The documents in which a memory image or map is passed to the worker's thread: a root with one
/// `segment` element per segment or range.
///
///     <image><segment at="256">0011…</segment>…</image>
///     <map><segment at="256" count="48"/>…</map>
namespace quillmark::transfer {

inline constexpr std::string_view kImageRoot = "image";
inline constexpr std::string_view kMapRoot = "map";

[[nodiscard]] std::shared_ptr<DOMDocument> WriteImage(Platform& platform, const MemoryImage& image);
[[nodiscard]] std::shared_ptr<DOMDocument> WriteMap(Platform& platform, const MemoryMap& map);

/// Raises 91 for a segment without text or attribute, 13 for text that is not hex or not decimal, 6
/// for a number that is not a Long.
[[nodiscard]] std::shared_ptr<MemoryImage> ReadImage(Platform& platform,
                                                     const DOMDocument& document);
[[nodiscard]] std::shared_ptr<MemoryMap> ReadMap(Platform& platform, const DOMDocument& document);

}  // namespace quillmark::transfer
