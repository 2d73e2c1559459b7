// SPDX-License-Identifier: MIT
#include "quillmark/host/bytes.h"

#include <array>
#include <numeric>

namespace quillmark::host {
namespace {

constexpr std::uint8_t kNoDigit = 0xFF;

/// The value of each character as a digit: looked up, since the documents of a download are read
/// digit by digit.
constexpr std::array<std::uint8_t, 256> kDigitValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t value = 0; value < 16; ++value) {
    values[static_cast<std::uint8_t>("0123456789ABCDEF"[value])] = value;
    values[static_cast<std::uint8_t>("0123456789abcdef"[value])] = value;
  }
  return values;
}();

std::uint8_t DigitValue(char digit) { return kDigitValues[static_cast<std::uint8_t>(digit)]; }

}  // namespace

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
  Bytes bytes(text.size() / 2);
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    const std::uint8_t high = DigitValue(text[2 * at]);
    const std::uint8_t low = DigitValue(text[2 * at + 1]);
    if (high == kNoDigit || low == kNoDigit) {
      return std::nullopt;
    }
    bytes[at] = static_cast<std::uint8_t>(high << 4U | low);
  }
  return bytes;
}

std::uint16_t SumOf(ByteView block) {
  return static_cast<std::uint16_t>(std::accumulate(block.begin(), block.end(), 0U) & 0xFFFFU);
}

}  // namespace quillmark::host
