// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace quillmark::host {

inline constexpr std::uint8_t kNegativeResponse = 0x7F;
inline constexpr std::uint8_t kResponsePending = 0x78;

/// A negative response code with its meaning, if it has one: "33, security access denied".
[[nodiscard]] std::string ResponseCodeText(std::uint8_t code);

}  // namespace quillmark::host
