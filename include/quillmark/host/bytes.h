// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/export.h"

namespace quillmark::host {

/// A frame, a message or a part of one.
using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/// Upper-case text, two digits per byte, no separators.
[[nodiscard]] QUILLMARK_API std::string HexOf(ByteView bytes);

/// The bytes of such text, also in lower case; nothing if the text is not hexadecimal.
[[nodiscard]] QUILLMARK_API std::optional<Bytes> BytesOfHex(std::string_view text);

}  // namespace quillmark::host
