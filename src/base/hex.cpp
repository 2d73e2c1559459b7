// SPDX-License-Identifier: MIT
#include "base/hex.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/large_pages.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

constexpr std::uint8_t kNoDigit = 0xF0;

char DigitOf(unsigned value) {
  return static_cast<char>('0' + value + (value > 9 ? 'A' - '0' - 10 : 0));
}

/// The value of a digit; `kNoDigit` for any other character.
constexpr std::uint8_t ValueOf(char digit) {
  const auto number = static_cast<std::uint8_t>(digit - '0');
  const auto letter = static_cast<std::uint8_t>((digit | ('a' ^ 'A')) - 'a');
  const auto letter_value = static_cast<std::uint8_t>(letter < 6 ? letter + 10 : kNoDigit);
  return number < 10 ? number : letter_value;
}

constexpr std::array<std::uint8_t, 256> MakeDigitValues() {
  std::array<std::uint8_t, 256> values{};
  for (std::size_t code = 0; code < values.size(); ++code) {
    values[code] = ValueOf(static_cast<char>(code));
  }
  return values;
}

constexpr auto kDigitValues = MakeDigitValues();

std::uint8_t LookUpValueOf(char digit) { return kDigitValues[static_cast<std::uint8_t>(digit)]; }

/// Text is converted through a buffer of this many bytes, since memory for the result would
/// otherwise be written twice, first with zeros: a tenth of the time for the text of 16 MiB.
constexpr std::size_t kChunkSize = 256;
using Chunk = std::array<std::uint8_t, kChunkSize>;

/// Reads `count` bytes with `Value` for a digit's value, `kNoDigit` or more if it is not one.
/// Returns all values combined, so that no iteration ends the loop early.
template <std::uint8_t (*Value)(char)>
std::uint8_t ReadDigitsWith(std::uint8_t* bytes, const char* digits, std::size_t count) {
  std::uint8_t all = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t high = Value(digits[2 * i]);
    const std::uint8_t low = Value(digits[2 * i + 1]);
    all = static_cast<std::uint8_t>(all | high | low);
    bytes[i] = static_cast<std::uint8_t>(high << 4U | low);
  }
  return all;
}

/// False if a character is not a digit.
bool ReadDigits(std::uint8_t* bytes, const char* digits, std::size_t count) {
  if (count < kHexVectorSize) {
    return ReadDigitsWith<LookUpValueOf>(bytes, digits, count) < kNoDigit;
  }
  // The last vector overlaps the one before: cheaper than looking up the remainder.
  const std::size_t last = count - kHexVectorSize;
  return ReadDigitsWith<ValueOf>(bytes, digits, count - count % kHexVectorSize) < kNoDigit &&
         ReadDigitsWith<ValueOf>(bytes + last, digits + 2 * last, kHexVectorSize) < kNoDigit;
}

}  // namespace

char* WriteHexVectors(char* to, ByteView bytes) {
  for (const std::uint8_t byte : bytes) {
    *to++ = DigitOf(byte >> 4U);
    *to++ = DigitOf(byte & 0x0FU);
  }
  return to;
}

void AppendHex(std::string& text, ByteView bytes) {
  // Filled before it is read; zeros would cost a frame more than its digits.
  std::array<char, 2 * kChunkSize> digits;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  while (!bytes.empty()) {
    const ByteView chunk = bytes.first(std::min(bytes.size(), kChunkSize));
    text.append(digits.data(), WriteHex(digits.data(), chunk));
    bytes = bytes.subspan(chunk.size());
  }
}

std::string HexOf(ByteView bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  PreferLargePages(text.data(), text.capacity());
  AppendHex(text, bytes);
  return text;
}

Bytes BytesOfHex(std::string_view text) {
  Bytes bytes;
  bytes.reserve(text.size() / 2);
  PreferLargePages(bytes.data(), bytes.capacity());
  if (!AppendBytesOfHex(bytes, text)) {
    throw Error(error_number::kTypeMismatch);
  }
  return bytes;
}

bool AppendBytesOfHex(Bytes& bytes, std::string_view text) {
  if (text.size() % 2 != 0) {
    return false;
  }
  const std::size_t size_before = bytes.size();
  Chunk chunk;
  while (!text.empty()) {
    const std::size_t count = std::min(text.size() / 2, kChunkSize);
    if (!ReadDigits(chunk.data(), text.data(), count)) {
      bytes.resize(size_before);
      return false;
    }
    bytes.insert(bytes.end(), chunk.data(), chunk.data() + count);
    text.remove_prefix(2 * count);
  }
  return true;
}

std::string ShortHexOf(std::uint8_t value) {
  const std::string text = HexOf(ByteView(&value, 1));
  return text.front() == '0' ? text.substr(1) : text;
}

}  // namespace quillmark
