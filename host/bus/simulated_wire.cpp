// SPDX-License-Identifier: MIT
#include <algorithm>
#include <stdexcept>
#include <utility>

#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kFullCanFrame = 8;

/// Counts the frames of one wire.
class CountingInjector {
 public:
  explicit CountingInjector(const WireFaults& faults) : faults_(faults) {}

  std::vector<FrameOnWire> operator()(const FrameOnWire& frame) {
    ++number_;
    if (faults_.unplugged_at && number_ >= *faults_.unplugged_at) {
      throw BusError("the device is gone");
    }
    const bool silent = faults_.silent_from && number_ >= *faults_.silent_from;
    const bool is_a_multiple = faults_.lost_every && number_ % *faults_.lost_every == 0;
    if (silent || is_a_multiple || number_ == faults_.lost_frame) {
      return {};
    }
    return {number_ == faults_.flipped_frame ? Flipped(frame) : frame};
  }

 private:
  static FrameOnWire Flipped(FrameOnWire frame) {
    std::uint8_t& byte = frame.data.at(frame.data.size() / 2);
    byte = static_cast<std::uint8_t>(~byte);
    return frame;
  }

  WireFaults faults_;
  std::uint64_t number_ = 0;
};

}  // namespace

SimulatedWire::SimulatedWire(SimulatedNode& node, const WireSpeed& speed)
    : node_(node), speed_(speed) {
  if (speed.can_bit_rate == 0 || speed.k_line_baud == 0) {
    throw std::invalid_argument("the bit rate of a bus cannot be 0");
  }
}

Duration SimulatedWire::Send(ByteView frame) {
  Transmit(Direction::kToEcu, Bytes(frame.begin(), frame.end()));
  return wire_free_at_;
}

void SimulatedWire::SendEndingAt(ByteView frame, Duration end) {
  wire_free_at_ = std::max(wire_free_at_, end);
  PutOnWire({Direction::kToEcu, wire_free_at_, Bytes(frame.begin(), frame.end())});
}

void SimulatedWire::Transmit(Direction direction, Bytes data) {
  wire_free_at_ = std::max(clock_, wire_free_at_) + WireTime(exchange_, data.size(), speed_);
  PutOnWire({direction, wire_free_at_, std::move(data)});
}

void SimulatedWire::PutOnWire(FrameOnWire frame) {
  if (!injector_) {
    in_flight_.emplace(frame.at, std::move(frame));
    return;
  }
  for (FrameOnWire& arriving : injector_(frame)) {
    arriving.direction = frame.direction;
    in_flight_.emplace(arriving.at, std::move(arriving));
  }
}

std::optional<Duration> SimulatedWire::NextEvent() const {
  const std::optional<Duration> due = node_.NextDue();
  if (in_flight_.empty()) {
    return due;
  }
  const Duration arrival = in_flight_.begin()->first;
  return due ? std::min(*due, arrival) : arrival;
}

std::optional<Duration> SimulatedWire::NextArrival() {
  while (!in_flight_.empty() && NothingComesBefore(in_flight_.begin()->second)) {
    Arrive(in_flight_.extract(in_flight_.begin()).mapped());
  }
  const std::size_t size = exchange_.form == TransportForm::kKLine ? 1 : kFullCanFrame;
  const Duration frame_time = WireTime(exchange_, size, speed_);
  std::optional<Duration> next;
  const auto take = [&next](Duration arrival) { next = std::min(next.value_or(arrival), arrival); };
  for (const auto& [at, frame] : in_flight_) {
    take(frame.direction == Direction::kToTester ? at : at + frame_time);
  }
  if (const std::optional<Duration> due = node_.NextDue()) {
    take(std::max({*due, clock_, wire_free_at_}) + frame_time);
  }
  return next;
}

/// What the tester sends from now on needs the wire, which this frame leaves free.
bool SimulatedWire::NothingComesBefore(const FrameOnWire& frame) const {
  const std::optional<Duration> due = node_.NextDue();
  return frame.direction == Direction::kToEcu && frame.at <= wire_free_at_ &&
         (!due || *due > frame.at);
}

void SimulatedWire::RunEvent(Duration at) {
  clock_ = std::max(clock_, at);
  if (!in_flight_.empty() && in_flight_.begin()->first <= at) {
    Arrive(in_flight_.extract(in_flight_.begin()).mapped());
  } else {
    Transmit(Direction::kToTester, node_.TakeFrame(clock_));
  }
}

void SimulatedWire::Arrive(const FrameOnWire& frame) {
  if (observer_) {
    observer_(exchange_, frame);
  }
  if (frame.direction == Direction::kToTester) {
    received_.push_back(frame.data);
  } else if (node_.Hears(exchange_)) {
    node_.OnFrame(frame.data, std::max(clock_, frame.at));
  }
}

void SimulatedWire::AdvanceTo(Duration time) {
  for (std::optional<Duration> event = NextEvent(); event && *event <= time; event = NextEvent()) {
    RunEvent(*event);
  }
  clock_ = std::max(clock_, time);
}

std::optional<Bytes> SimulatedWire::TakeReceived() {
  if (received_.empty()) {
    return std::nullopt;
  }
  Bytes frame = std::move(received_.front());
  received_.pop_front();
  return frame;
}

SimulatedWire::FaultInjector InjectorOf(const WireFaults& faults) {
  if (faults.lost_every == std::uint64_t{0}) {
    throw std::invalid_argument(
        "the faults lose every frame whose number is a multiple of 0; expected at least 1");
  }
  return CountingInjector(faults);
}

}  // namespace quillmark::host
