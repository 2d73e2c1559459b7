// SPDX-License-Identifier: MIT
#include "host/adapters/pass_thru_bus.h"

#include <string>
#include <utility>

#include "host/bus/can_frame.h"
#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {
namespace {

namespace api = pass_thru;
using std::chrono::milliseconds;

/// What an adapter and its connection may add to the time of a message on the bus.
constexpr milliseconds kWriteAllowance{2000};
/// ISO 14230-2: how long a line is idle before it is woken (W5).
constexpr std::uint32_t kIdleBeforeWakeUp = 300;
/// More than any ECU asks for; the parameters have 16 bits.
constexpr milliseconds kLongestWakeUp{10'000};
constexpr std::size_t kIdentifierSize = 4;
constexpr int kMostLate = 1000;

bool IsExtended(std::uint32_t identifier) { return identifier > CanFrame::kLastStandardIdentifier; }

std::uint32_t FlagOf(std::uint32_t identifier) {
  return IsExtended(identifier) ? api::kCan29BitId : 0;
}

Bytes BytesOf(std::uint32_t identifier) {
  return {static_cast<std::uint8_t>(identifier >> 24), static_cast<std::uint8_t>(identifier >> 16),
          static_cast<std::uint8_t>(identifier >> 8), static_cast<std::uint8_t>(identifier)};
}

std::uint32_t ConnectFlags(const Exchange& exchange) {
  const std::uint32_t flags = FlagOf(exchange.receive) | FlagOf(exchange.send);
  return IsExtended(exchange.receive) == IsExtended(exchange.send) ? flags
                                                                   : flags | api::kCanIdBoth;
}

}  // namespace

PassThruBus::PassThruBus(std::unique_ptr<PassThruLink> link, TransportForm form,
                         std::uint32_t bit_rate, const KLineTiming& timing)
    : link_(std::move(link)), form_(form), bit_rate_(bit_rate), timing_(timing) {}

void PassThruBus::Select(const Exchange& exchange) {
  if (exchange.form != form_) {
    throw BusError(form_ == TransportForm::kKLine
                       ? "j2534: with protocol=kline carries the K line form alone"
                       : "j2534: with protocol=can carries the plain CAN form alone");
  }
  if (exchange == exchange_) {
    return;
  }
  exchange_.reset();
  received_.clear();
  if (form_ == TransportForm::kKLine) {
    ConnectKLine();
  } else {
    ConnectCan(exchange);
  }
  // What arrived before the filter was there.
  link_->ClearReceiveBuffer();
  exchange_ = exchange;
}

void PassThruBus::ConnectCan(const Exchange& exchange) {
  link_->Connect(api::kCan, ConnectFlags(exchange), bit_rate_);
  const std::uint32_t all = IsExtended(exchange.receive) ? CanFrame::kLastExtendedIdentifier
                                                         : CanFrame::kLastStandardIdentifier;
  link_->StartPassFilter(FlagOf(exchange.receive), BytesOf(all), BytesOf(exchange.receive));
}

void PassThruBus::ConnectKLine() {
  link_->Connect(api::kIso14230, api::kNoChecksum, bit_rate_);
  SetPause(api::kP1Max, "p1", timing_.p1);
  SetPause(api::kP3Min, "p3", timing_.p3);
  SetPause(api::kP4Min, "p4", timing_.p4);
  link_->StartPassFilter(0, Bytes{0}, Bytes{0});
}

void PassThruBus::SetPause(std::uint32_t parameter, const char* name, milliseconds pause) {
  const auto halves = static_cast<std::uint32_t>(2 * pause.count());
  link_->SetParameter(parameter, halves);
  const std::uint32_t kept = link_->GetParameter(parameter);
  if (kept != halves) {
    throw BusError("the adapter keeps " + api::NameOfParameter(parameter) + " at " +
                   std::to_string(kept) + " half milliseconds where " + std::to_string(halves) +
                   " was set: give it another " + name);
  }
}

PassThruMessage PassThruBus::MessageOf(ByteView frame) const {
  if (form_ == TransportForm::kKLine) {
    return {.data = Bytes(frame.begin(), frame.end())};
  }
  PassThruMessage message{.tx_flags = FlagOf(exchange_->send), .data = BytesOf(exchange_->send)};
  message.data.insert(message.data.end(), frame.begin(), frame.end());
  return message;
}

milliseconds PassThruBus::WriteLimit(std::size_t size) const {
  const WireSpeed speed{.can_bit_rate = bit_rate_, .k_line_baud = bit_rate_};
  const auto pauses = static_cast<int>(size) * timing_.p4 + timing_.p3;
  const Duration on_wire = WireTime({.form = form_}, size, speed);
  return std::chrono::ceil<milliseconds>(on_wire) + pauses + kWriteAllowance;
}

void PassThruBus::Send(ByteView frame) {
  if (!exchange_) {
    throw BusError("j2534: no exchange is selected");
  }
  const PassThruMessage message = MessageOf(frame);
  if (wake_up_) {
    Initialise(&message);
    return;
  }
  link_->Write(message, WriteLimit(frame.size()));
  is_in_doubt_ = false;
}

void PassThruBus::Initialise(const PassThruMessage* request) {
  const WakeUp wake_up = *std::exchange(wake_up_, std::nullopt);
  const milliseconds whole = wake_up.low + wake_up.high.value_or(milliseconds(0));
  link_->SetParameter(api::kIdleTime, kIdleBeforeWakeUp);
  link_->SetParameter(api::kLowTime, static_cast<std::uint32_t>(wake_up.low.count()));
  link_->SetParameter(api::kWakeUpTime, static_cast<std::uint32_t>(whole.count()));
  std::string failure;
  const std::optional<PassThruMessage> reply = link_->FastInit(request, failure);
  if (!failure.empty()) {
    throw DoubtfulFrame(failure);
  }
  if (reply) {
    Keep(*reply);
  }
}

std::optional<Bytes> PassThruBus::Receive(milliseconds timeout) {
  if (wake_up_) {
    Initialise(nullptr);
  }
  const Duration deadline = Now() + timeout;
  for (int late = 0; received_.empty();) {
    const Duration left = Left(deadline);
    const PassThruReading reading = link_->Read(std::chrono::ceil<milliseconds>(left));
    if (reading.overflow && std::exchange(is_in_doubt_, true)) {
      throw BusError("the adapter loses frames again and again: PassThruReadMsgs returns " +
                     api::NameOfStatus(api::kBufferOverflow));
    }
    if (reading.message) {
      Keep(*reading.message);
    }
    // What is there already counts, but an adapter may babble.
    const bool is_over = left == Duration::zero() && (!reading.message || ++late > kMostLate);
    if (received_.empty() && is_over) {
      return std::nullopt;
    }
  }
  Bytes frame = std::move(received_.front());
  received_.pop_front();
  return frame;
}

void PassThruBus::Keep(const PassThruMessage& message) {
  constexpr std::uint32_t kNoFrame =
      api::kEcho | api::kStartOfMessage | api::kBreakHeard | api::kSent;
  if ((message.rx_status & kNoFrame) != 0 || message.data.empty()) {
    return;
  }
  if (form_ == TransportForm::kKLine) {
    received_.push_back(message.data);
    return;
  }
  const Bytes& data = message.data;
  if (data.size() <= kIdentifierSize || data.size() > kIdentifierSize + CanFrame::kMostBytes ||
      (message.rx_status & api::kCan29BitId) != FlagOf(exchange_->receive)) {
    return;
  }
  const auto payload = data.begin() + static_cast<std::ptrdiff_t>(kIdentifierSize);
  if (Bytes(data.begin(), payload) == BytesOf(exchange_->receive)) {
    received_.emplace_back(payload, data.end());
  }
}

void PassThruBus::Wait(milliseconds time) {
  if (wake_up_ && !wake_up_->high && wake_up_->low + time <= kLongestWakeUp) {
    wake_up_->high = time;
    return;
  }
  RealTimeBus::Wait(time);
}

void PassThruBus::Break(milliseconds low) {
  if (form_ != TransportForm::kKLine) {
    throw BusError("a CAN bus knows no break");
  }
  if (low > kLongestWakeUp) {
    throw BusError("j2534: a break of " + std::to_string(low.count()) +
                   " ms is longer than an adapter makes");
  }
  wake_up_ = WakeUp{low, std::nullopt};
}

}  // namespace quillmark::host
