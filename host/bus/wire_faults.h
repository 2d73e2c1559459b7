// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/bus/simulated_wire.h"

namespace quillmark::host {

/// Faults on a simulated wire, by the number of a frame. Frames are counted from 1, in both
/// directions, as they are put on the wire.
struct WireFaults {
  /// This frame is lost.
  std::optional<std::uint64_t> lost_frame{};
  /// All bits of the middle byte of this frame are inverted.
  std::optional<std::uint64_t> flipped_frame{};
  /// From this frame on nothing arrives: the ECU has stopped.
  std::optional<std::uint64_t> silent_from{};
  /// When this frame is put on the wire, the tester's adapter disappears.
  std::optional<std::uint64_t> unplugged_at{};
};

/// Injects these faults into a wire.
[[nodiscard]] SimulatedWire::FaultInjector InjectorOf(const WireFaults& faults);

}  // namespace quillmark::host
