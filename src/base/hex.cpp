#include "base/hex.h"

#include <array>
#include <cstddef>

#include "quillmark/error.h"

namespace quillmark {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeDigitValues() {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t digit = 0; digit < 16; ++digit) {
    values[static_cast<std::uint8_t>(kDigits[digit])] = digit;
    values[static_cast<std::uint8_t>("0123456789abcdef"[digit])] = digit;
  }
  return values;
}

constexpr auto kDigitValues = MakeDigitValues();

std::uint8_t DigitValue(char digit) { return kDigitValues[static_cast<std::uint8_t>(digit)]; }

}  // namespace

void AppendHex(std::string& text, ByteView bytes) {
  std::size_t at = text.size();
  text.resize(at + 2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text[at++] = kDigits[byte >> 4U];
    text[at++] = kDigits[byte & 0x0FU];
  }
}

std::string HexOf(ByteView bytes) {
  std::string text;
  AppendHex(text, bytes);
  return text;
}

Bytes BytesOfHex(std::string_view text) {
  if (text.size() % 2 != 0) {
    throw Error(error_number::kTypeMismatch);
  }
  Bytes bytes(text.size() / 2);
  std::size_t at = 0;
  for (std::uint8_t& byte : bytes) {
    const std::uint8_t high = DigitValue(text[at++]);
    const std::uint8_t low = DigitValue(text[at++]);
    if ((high | low) == kNoDigit) {
      throw Error(error_number::kTypeMismatch);
    }
    byte = static_cast<std::uint8_t>(high << 4U | low);
  }
  return bytes;
}

std::string ShortHexOf(std::uint8_t value) {
  const std::string text = HexOf(ByteView(&value, 1));
  return text.front() == '0' ? text.substr(1) : text;
}

}  // namespace quillmark
