// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/bus/bus.h"

namespace quillmark::host {

/// How fast the wires are, in bits a second; neither may be 0.
struct WireSpeed {
  std::uint32_t can_bit_rate = 500'000;
  std::uint32_t k_line_baud = 10'400;
};

/// The time that a frame of `size` bytes occupies the wire of its exchange, rounded up.
///
/// CAN frames are counted with the most stuff bits that they can need and with the gap that follows
/// them; a gateway's frames have 11-bit identifiers. A byte on a K line takes 10 bits.
[[nodiscard]] Duration WireTime(const Exchange& exchange, std::size_t size, const WireSpeed& speed);

}  // namespace quillmark::host
