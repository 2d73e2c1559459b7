// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <ostream>
#include <string_view>

#include "host/image/image_builder.h"

/// The image files that are made of records in text.
namespace quillmark::host {

/// Reads Intel HEX: record types 00 (data), 01 (end), 02 and 04 (upper address as a segment or the
/// high half), 03 and 05 (entry point, checked and left out). After a segment address the 16-bit
/// offset of a record wraps round within its segment. `file` is the name for messages.
/// Raises `DamagedImage`.
[[nodiscard]] ImageContent ReadIntelHex(std::string_view text, std::string_view file);

/// Writes `segments` with `bytes_per_record` (1..255) data bytes per record and type 04 addresses.
void WriteIntelHex(std::ostream& out, const ImageSegments& segments,
                   std::size_t bytes_per_record = 32);

/// Reads Motorola S-records: S0 (header, left out), S1 to S3 (data), S5 and S6 (number of data
/// records so far, compared), S7 to S9 (end; the entry point is left out). A file that ends in a
/// correct count is as complete as one with an end record; some tools write such files. `file` is
/// the name for messages. Raises `DamagedImage`.
[[nodiscard]] ImageContent ReadSRecord(std::string_view text, std::string_view file);

/// Writes `segments` with `bytes_per_record` (1..250) data bytes per record, in the shortest of the
/// three address widths that holds them all, with a count and an end record.
void WriteSRecord(std::ostream& out, const ImageSegments& segments,
                  std::size_t bytes_per_record = 32);

}  // namespace quillmark::host
