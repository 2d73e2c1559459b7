// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quillmark::portable {

/// What XML counts as white space.
inline constexpr std::string_view kBlanks = " \t\r\n";

/// The message for text beside the root element.
inline constexpr const char* kTextOutside = "Text stands outside of the root element";

/// Whether a text holds nothing else.
[[nodiscard]] inline bool IsBlank(std::string_view text) {
  return text.find_first_not_of(kBlanks) == std::string_view::npos;
}

/// Number of bytes at the beginning of `text` that form a name of an element, an attribute or a
/// processing instruction; 0 if none begins there. Every character beyond ASCII counts as a letter.
[[nodiscard]] std::size_t NameLength(std::string_view text);

/// Raises 13 if `name` is not such a name as a whole.
void RequireName(std::string_view name);

/// Whether a comment can hold the text: "--" would end it early, and so would "-" before its end.
[[nodiscard]] bool FitsComment(std::string_view text);

/// Raises 13 if `text` holds the character U+0000, which no XML text can.
void RequireNoNul(std::string_view text);

/// Whether XML 1.0 allows the character.
[[nodiscard]] bool IsXmlCharacter(std::uint32_t code);

/// Offset of the first byte that does not begin a character that XML allows, in well-formed UTF-8;
/// the size of the text if there is none.
[[nodiscard]] std::size_t XmlPrefixLength(std::string_view text);

}  // namespace quillmark::portable
