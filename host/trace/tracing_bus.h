// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "host/bus/bus.h"
#include "host/trace/trace.h"

namespace quillmark::host {

/// Any bus, seen from the tester's side: it hands everything to the bus behind it and every frame
/// that passes to a sink. What a fault loses on the wire is what the tester does not get, and does
/// not stand in the trace. A frame that is dropped because it came too late to answer anything
/// does.
class TracingBus : public Bus {
 public:
  /// `bus` must outlive this. Times of the trace count from now.
  TracingBus(Bus& bus, TraceSink sink);

  void Select(const Exchange& exchange) override;
  void DiscardReceived() override;
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override;
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] Duration Now() const override { return bus_.Now(); }

  /// The time of the trace.
  [[nodiscard]] Duration TraceTime() const { return bus_.Now() - began_; }

 private:
  void Record(Direction direction, ByteView frame);

  Bus& bus_;
  TraceSink sink_;
  Duration began_;
  Exchange exchange_;
};

}  // namespace quillmark::host
