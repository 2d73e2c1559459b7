// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "host/bus/bus.h"

namespace quillmark::host {

/// The adapter between a tester's serial port and a simulated wire. It has no clock of its own: its
/// wire has the time.
class SimulatedAdapter {
 public:
  SimulatedAdapter() = default;
  SimulatedAdapter(const SimulatedAdapter&) = delete;
  SimulatedAdapter& operator=(const SimulatedAdapter&) = delete;
  SimulatedAdapter(SimulatedAdapter&&) = delete;
  SimulatedAdapter& operator=(SimulatedAdapter&&) = delete;
  virtual ~SimulatedAdapter() = default;

  /// The tester has written. Puts frames on the wire; returns what the adapter answers at once.
  virtual Bytes OnBytes(ByteView bytes) = 0;
  /// A frame of the ECU has arrived. Returns what the tester gets to read.
  virtual Bytes OnFrame(ByteView frame) = 0;

  /// When the adapter has something to send by itself; nothing if it has not.
  [[nodiscard]] virtual std::optional<Duration> NextDue() const { return std::nullopt; }
  /// That, once its time has come.
  virtual Bytes TakeDue() { return {}; }
};

}  // namespace quillmark::host
