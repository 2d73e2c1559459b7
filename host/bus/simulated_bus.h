// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <utility>

#include "host/bus/bus.h"
#include "host/bus/simulated_wire.h"

namespace quillmark::host {

/// A bus in simulated time: a run takes only the time to compute it. A rate derived from `Now` is
/// what a real wire could carry.
class SimulatedBus : public Bus {
 public:
  using Observer = SimulatedWire::Observer;
  using FaultInjector = SimulatedWire::FaultInjector;

  /// `node` must outlive the bus. Raises std::invalid_argument for a speed of 0.
  explicit SimulatedBus(SimulatedNode& node, const WireSpeed& speed = {}) : wire_(node, speed) {}

  void OnFrame(Observer observer) { wire_.OnFrame(std::move(observer)); }
  void InjectFaults(FaultInjector injector) { wire_.InjectFaults(std::move(injector)); }

  void Select(const Exchange& exchange) override { wire_.Select(exchange); }
  void Send(ByteView frame) override { wire_.AdvanceTo(wire_.Send(frame)); }
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override { wire_.AdvanceTo(Now() + time); }
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] Duration Now() const override { return wire_.Now(); }

 private:
  SimulatedWire wire_;
};

}  // namespace quillmark::host
