// SPDX-License-Identifier: MIT
#include <utility>

#include "quillmark/host/trace.h"

namespace quillmark::host {

TracingBus::TracingBus(Bus& bus, TraceSink sink)
    : bus_(bus), sink_(std::move(sink)), began_(bus.Now()) {}

void TracingBus::Select(const Exchange& exchange) {
  bus_.Select(exchange);
  exchange_ = exchange;
}

void TracingBus::Send(ByteView frame) {
  bus_.Send(frame);
  Record(Direction::kToEcu, frame);
}

std::optional<Bytes> TracingBus::Receive(std::chrono::milliseconds timeout) {
  std::optional<Bytes> frame = bus_.Receive(timeout);
  if (frame) {
    Record(Direction::kToTester, *frame);
  }
  return frame;
}

void TracingBus::Wait(std::chrono::milliseconds time) { bus_.Wait(time); }

void TracingBus::Break(std::chrono::milliseconds low) {
  const Duration at = TraceTime();
  bus_.Break(low);
  sink_({.kind = TraceEntryKind::kBreak, .at = at, .exchange = exchange_, .low = low});
}

void TracingBus::Record(Direction direction, ByteView frame) {
  sink_({.at = TraceTime(),
         .direction = direction,
         .exchange = exchange_,
         .data = Bytes(frame.begin(), frame.end())});
}

}  // namespace quillmark::host
