// SPDX-License-Identifier: MIT
#include "host/bus/bytes.h"

#include <charconv>

namespace quillmark::host {

std::string HexOf(ByteView bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
  }
  return text;
}

std::optional<Bytes> BytesOfHex(std::string_view text) {
  if (text.size() % 2 != 0) {
    return std::nullopt;
  }
  Bytes bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const char* const digits = text.data() + at;
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(digits, digits + 2, byte, 16);
    if (error != std::errc{} || end != digits + 2) {
      return std::nullopt;
    }
    bytes.push_back(byte);
  }
  return bytes;
}

}  // namespace quillmark::host
