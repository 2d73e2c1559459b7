#include "host/bus/simulated_bus.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace quillmark::host {

SimulatedBus::SimulatedBus(SimulatedNode& node, const WireSpeed& speed)
    : node_(node), speed_(speed) {
  if (speed.can_bit_rate == 0 || speed.k_line_baud == 0) {
    throw std::invalid_argument("the bit rate of a bus cannot be 0");
  }
}

void SimulatedBus::Select(const Exchange& exchange) { exchange_ = exchange; }

void SimulatedBus::DiscardReceived() { received_.clear(); }

void SimulatedBus::Send(ByteView frame) {
  Transmit(Direction::kToEcu, Bytes(frame.begin(), frame.end()));
  AdvanceTo(wire_free_at_);
}

std::optional<Bytes> SimulatedBus::Receive(std::chrono::milliseconds timeout) {
  const Duration deadline = clock_ + timeout;
  while (received_.empty()) {
    const std::optional<Duration> event = NextEvent();
    if (!event || *event > deadline) {
      clock_ = deadline;
      return std::nullopt;
    }
    RunEvent(*event);
  }
  Bytes frame = std::move(received_.front());
  received_.pop_front();
  return frame;
}

void SimulatedBus::Wait(std::chrono::milliseconds time) { AdvanceTo(clock_ + time); }

void SimulatedBus::Break(std::chrono::milliseconds low) {
  if (exchange_.form != TransportForm::kKLine) {
    throw BusError("a CAN bus knows no break");
  }
  AdvanceTo(clock_ + low);
  node_.OnBreak(low, clock_);
}

void SimulatedBus::Transmit(Direction direction, Bytes data) {
  wire_free_at_ = std::max(clock_, wire_free_at_) + WireTime(exchange_, data.size(), speed_);
  FrameOnWire frame{direction, wire_free_at_, std::move(data)};
  if (!injector_) {
    in_flight_.emplace(wire_free_at_, std::move(frame));
    return;
  }
  for (FrameOnWire& arriving : injector_(frame)) {
    arriving.direction = direction;
    in_flight_.emplace(arriving.at, std::move(arriving));
  }
}

std::optional<Duration> SimulatedBus::NextEvent() const {
  const std::optional<Duration> due = node_.NextDue();
  if (in_flight_.empty()) {
    return due;
  }
  const Duration arrival = in_flight_.begin()->first;
  return due ? std::min(*due, arrival) : arrival;
}

void SimulatedBus::RunEvent(Duration at) {
  clock_ = std::max(clock_, at);
  if (!in_flight_.empty() && in_flight_.begin()->first <= at) {
    Arrive(in_flight_.extract(in_flight_.begin()).mapped());
  } else {
    Transmit(Direction::kToTester, node_.TakeFrame(clock_));
  }
}

void SimulatedBus::Arrive(const FrameOnWire& frame) {
  if (observer_) {
    observer_(exchange_, frame);
  }
  if (frame.direction == Direction::kToTester) {
    received_.push_back(frame.data);
  } else if (node_.Hears(exchange_)) {
    node_.OnFrame(frame.data, clock_);
  }
}

void SimulatedBus::AdvanceTo(Duration time) {
  for (std::optional<Duration> event = NextEvent(); event && *event <= time; event = NextEvent()) {
    RunEvent(*event);
  }
  clock_ = std::max(clock_, time);
}

}  // namespace quillmark::host
