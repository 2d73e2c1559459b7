// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "host/bus/bus.h"

namespace quillmark::host {

/// The words of a line, separated by blanks.
[[nodiscard]] std::vector<std::string_view> WordsOf(std::string_view line);

/// A whole number; nothing if `text` is not one.
[[nodiscard]] std::optional<std::uint64_t> NumberOf(std::string_view text, int base = 10);

/// Seconds with up to six digits after the point; nothing if `text` is no such number.
[[nodiscard]] std::optional<Duration> DurationOfSeconds(std::string_view text);

/// The bytes of words of two hexadecimal digits each; nothing if one of them is not.
[[nodiscard]] std::optional<Bytes> BytesOfWords(std::vector<std::string_view>::const_iterator first,
                                                std::vector<std::string_view>::const_iterator last);

}  // namespace quillmark::host
