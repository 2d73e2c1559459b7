// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/export.h"

namespace quillmark::host {

/// A frame, a message or a part of one.
using Bytes = std::vector<std::uint8_t>;
/// The same, as somebody else keeps it: valid only as long as what it looks at.
using ByteView = std::span<const std::uint8_t>;

/// A range of memory within 24 bits.
struct AddressRange {
  std::uint32_t start = 0;  ///< the first address
  std::uint32_t count = 0;  ///< the number of bytes

  friend bool operator==(const AddressRange&, const AddressRange&) = default;
};

/// Upper-case text, two digits per byte, no separators.
[[nodiscard]] QUILLMARK_API std::string HexOf(ByteView bytes);

/// The bytes of such text, also in lower case; nothing if the text is not hexadecimal.
[[nodiscard]] QUILLMARK_API std::optional<Bytes> BytesOfHex(std::string_view text);

/// Computes the two bytes that end a transfer block, the high one first, from the bytes before
/// them.
using BlockChecksum = std::function<std::uint16_t(ByteView block)>;

/// The low 16 bits of the sum of the bytes, as the reference types compute it.
[[nodiscard]] QUILLMARK_API std::uint16_t SumOf(ByteView block);

}  // namespace quillmark::host
