// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace quillmark::transfer {

/// The three address bytes of a transfer request, high byte first. D9.
[[nodiscard]] constexpr std::array<std::uint8_t, 3> AddressBytes(std::int32_t address) {
  return {static_cast<std::uint8_t>((address / 65536) & 0xFF),
          static_cast<std::uint8_t>((address / 256) & 0xFF),
          static_cast<std::uint8_t>(address & 0xFF)};
}

}  // namespace quillmark::transfer
