// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark {

/// A message, or a part of one, within the component.
using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/// Upper-case text, two digits per byte, no separators.
[[nodiscard]] std::string HexOf(ByteView bytes);
void AppendHex(std::string& text, ByteView bytes);
/// Writes it to `to`, which has room for it. Returns its end.
char* WriteHex(char* to, ByteView bytes);

/// The bytes of such text, also in lower case. Raises 13 for an odd number of digits and for any
/// character that is not a digit, including blanks.
[[nodiscard]] Bytes BytesOfHex(std::string_view text);
/// Appends them. Returns false, and appends nothing, if `BytesOfHex` would raise.
[[nodiscard]] bool AppendBytesOfHex(Bytes& bytes, std::string_view text);

/// Upper case without leading zeros: 0x05 gives "5".
[[nodiscard]] std::string ShortHexOf(std::uint8_t value);

}  // namespace quillmark
