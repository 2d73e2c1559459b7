// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <ostream>
#include <string_view>

#include "host/image/image.h"

namespace quillmark::host {

/// Reads Intel HEX: record types 00 (data), 01 (end), 02 and 04 (upper address as a segment or the
/// high half), 03 and 05 (entry point, checked and left out). After a segment address the 16-bit
/// offset of a record wraps round within its segment. `file` is the name for messages.
/// Raises `DamagedImage`.
[[nodiscard]] ImageContent ReadIntelHex(std::string_view text, std::string_view file);

/// Writes `segments` with `bytes_per_record` (1..255) data bytes per record and type 04 addresses.
void WriteIntelHex(std::ostream& out, const ImageSegments& segments,
                   std::size_t bytes_per_record = 32);

}  // namespace quillmark::host
