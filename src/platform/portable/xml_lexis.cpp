// SPDX-License-Identifier: MIT
#include "platform/portable/xml_lexis.h"

#include <algorithm>
#include <string>

#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

bool BeginsName(char c) {
  const char lower = static_cast<char>(c | 0x20);
  return (lower >= 'a' && lower <= 'z') || c == '_' || c == ':' || (c & 0x80) != 0;
}

bool ContinuesName(char c) {
  return BeginsName(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

/// Number of bytes of the character that begins with `first`; 0 if none does.
std::size_t LengthFromFirstByte(unsigned char first) {
  if (first < 0x80) {
    return 1;
  }
  if (first < 0xC0 || first >= 0xF8) {
    return 0;
  }
  return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

/// Length of the character at the beginning of `text`; 0 if none that XML allows begins there.
std::size_t CharacterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = LengthFromFirstByte(first);
  if (length == 0 || length > text.size()) {
    return 0;
  }
  std::uint32_t code = length == 1 ? first : first & (0x7FU >> length);
  for (const char next : text.substr(1, length - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & 0xC0U) != 0x80U) {
      return 0;
    }
    code = code << 6U | (byte & 0x3FU);
  }
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return code >= kSmallest[length] && IsXmlCharacter(code) ? length : 0;
}

/// Whether a text has only ASCII characters that XML allows. The loop has no early end, so that it
/// can be vectorized.
bool IsPlain(std::string_view text) {
  std::uint8_t others = 0;
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    const bool is_blank = byte == '\t' || byte == '\r' || byte == '\n';
    const bool is_printable = static_cast<std::uint8_t>(byte - 0x20) < 0x60;
    others = static_cast<std::uint8_t>(others | (is_printable || is_blank ? 0 : 1));
  }
  return others == 0;
}

}  // namespace

std::size_t NameLength(std::string_view text) {
  if (text.empty() || !BeginsName(text.front())) {
    return 0;
  }
  std::size_t length = 1;
  while (length < text.size() && ContinuesName(text[length])) {
    ++length;
  }
  return length;
}

void RequireName(std::string_view name) {
  if (name.empty() || NameLength(name) != name.size()) {
    throw Error(error_number::kTypeMismatch, "\"" + std::string(name) + "\" is not an XML name");
  }
}

bool FitsComment(std::string_view text) {
  return text.find("--") == std::string_view::npos && !text.ends_with('-');
}

void RequireNoNul(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw Error(error_number::kTypeMismatch, "XML text cannot hold the character U+0000");
  }
}

bool IsXmlCharacter(std::uint32_t code) {
  if (code < 0x20) {
    return code == '\t' || code == '\r' || code == '\n';
  }
  const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code <= kLastCodePoint && !is_surrogate && code != 0xFFFE && code != 0xFFFF;
}

std::size_t XmlPrefixLength(std::string_view text) {
  constexpr std::size_t kPartSize = 256;
  std::size_t at = 0;
  while (at < text.size()) {
    if (IsPlain(text.substr(at, kPartSize))) {
      at += std::min(kPartSize, text.size() - at);
      continue;
    }
    const std::size_t part_end = at + kPartSize;
    while (at < std::min(part_end, text.size())) {
      const std::size_t length = CharacterLength(text.substr(at));
      if (length == 0) {
        return at;
      }
      at += length;
    }
  }
  return at;
}

}  // namespace quillmark::portable
