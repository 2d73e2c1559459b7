// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/bus/simulated_wire.h"

namespace quillmark::host {

/// What goes wrong on a simulated wire, by the number of a frame. Frames are counted from 1, in
/// both directions, as they are put on the wire.
struct WireFaults {
  /// This frame arrives nowhere.
  std::optional<std::uint64_t> lost_frame{};
  /// All bits of the byte in the middle of this frame are flipped.
  std::optional<std::uint64_t> flipped_frame{};
  /// From this frame on nothing arrives any more: the ECU has stopped.
  std::optional<std::uint64_t> silent_from{};
  /// As this frame is put on the wire, the tester's adapter is gone.
  std::optional<std::uint64_t> unplugged_at{};
};

/// Injects these faults into a wire.
[[nodiscard]] SimulatedWire::FaultInjector InjectorOf(const WireFaults& faults);

}  // namespace quillmark::host
