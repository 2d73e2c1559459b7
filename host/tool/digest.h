// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/image/image.h"
#include "quillmark/memory_image.h"

namespace quillmark::host {

/// SHA-256 of all bytes in address order, without their addresses, as 64 lower-case hexadecimal
/// digits: for an image without gaps, that of its raw binary.
[[nodiscard]] std::string Sha256Of(const ImageSegments& segments);
[[nodiscard]] std::string Sha256Of(const MemoryImage& image);

}  // namespace quillmark::host
