// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/bus/bus.h"

namespace quillmark::host {

/// How fast the wires are, in bits per second; neither may be 0.
struct WireSpeed {
  std::uint32_t can_bit_rate = 500'000;
  std::uint32_t k_line_baud = 10'400;
};

/// The time that a frame of `size` bytes occupies the wire of its exchange, rounded up.
///
/// CAN frames count with the largest possible number of stuff bits and with the gap that follows
/// them; a gateway's frames have 11-bit identifiers. A byte on a K line takes 10 bits.
[[nodiscard]] Duration WireTime(const Exchange& exchange, std::size_t size, const WireSpeed& speed);

}  // namespace quillmark::host
