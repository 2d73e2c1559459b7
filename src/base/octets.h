// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace quillmark {

/// A few bytes, such as those of a short message, without a heap allocation: Octets(0x27, 0x81).
/// Each is taken modulo 256.
template <typename... Octet>
[[nodiscard]] constexpr std::array<std::uint8_t, sizeof...(Octet)> Octets(Octet... octets) {
  return {static_cast<std::uint8_t>(octets)...};
}

}  // namespace quillmark
