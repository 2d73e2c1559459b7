// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace quillmark {

inline constexpr std::size_t kCANFrameSize = 8;
using CANFrame = std::array<std::uint8_t, kCANFrameSize>;

/// The frames in which plain CAN requests are built. They live as long as the configuration: D4.
struct FrameBuffers {
  CANFrame frame{};
  CANFrame consecutive{};
};

}  // namespace quillmark
