// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace quillmark {

inline constexpr std::size_t kCANFrameSize = 8;
using CANFrame = std::array<std::uint8_t, kCANFrameSize>;

/// The frames that plain CAN requests are built in. They live as long as the configuration: bytes
/// that a shorter message does not fill still hold what an earlier one left there. This is
/// deliberate, and the padding that ECUs have always seen.
struct FrameBuffers {
  CANFrame frame{};
  CANFrame consecutive{};
};

}  // namespace quillmark
