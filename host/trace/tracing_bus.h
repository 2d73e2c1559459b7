// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "host/bus/bus.h"
#include "host/trace/trace.h"

namespace quillmark::host {

/// Any bus, seen from the tester's side: passes everything to the bus behind it, and every frame to
/// a sink. A frame that a fault loses on the wire does not reach the tester and is not in the
/// trace. A frame that is discarded because it came too late to answer anything is.
class TracingBus : public Bus {
 public:
  /// `bus` must outlive this. Times of the trace count from now.
  TracingBus(Bus& bus, TraceSink sink);

  void Select(const Exchange& exchange) override;
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
