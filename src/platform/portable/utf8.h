// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quillmark::portable {

/// Whether XML 1.0 allows the character.
[[nodiscard]] bool IsXmlCharacter(std::uint32_t code);

/// Offset of the first byte that does not begin a character that XML allows, in well-formed UTF-8;
/// the size of the text if there is none.
[[nodiscard]] std::size_t XmlPrefixLength(std::string_view text);

}  // namespace quillmark::portable
