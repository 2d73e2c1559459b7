// SPDX-License-Identifier: MIT
#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {

std::optional<Bytes> SimulatedBus::Receive(std::chrono::milliseconds timeout) {
  const Duration deadline = Now() + timeout;
  for (;;) {
    if (std::optional<Bytes> frame = wire_.TakeReceived()) {
      return frame;
    }
    const std::optional<Duration> event = wire_.NextEvent();
    if (!event || *event > deadline) {
      wire_.AdvanceTo(deadline);
      return std::nullopt;
    }
    wire_.AdvanceTo(*event);
  }
}

void SimulatedBus::Break(std::chrono::milliseconds low) {
  if (wire_.exchange().form != TransportForm::kKLine) {
    throw BusError("a CAN bus knows no break");
  }
  Wait(low);
  wire_.Break(low);
}

}  // namespace quillmark::host
