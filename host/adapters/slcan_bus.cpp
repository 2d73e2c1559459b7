// SPDX-License-Identifier: MIT
#include "host/adapters/slcan_bus.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace quillmark::host {
namespace {

/// How long an adapter may take to report its version, and to fall silent if it reports none.
constexpr std::chrono::milliseconds kVersionLimit{2000};
constexpr std::chrono::milliseconds kQuiet{100};
constexpr std::chrono::milliseconds kConfirmationLimit{2000};

}  // namespace

SlcanBus::SlcanBus(std::unique_ptr<SerialPort> port, std::uint32_t bit_rate, bool confirms)
    : port_(std::move(port)), confirms_(confirms) {
  CloseChannel();
  Command(SlcanBitRateCommand(bit_rate).value());
  Command("O");
}

/// The empty lines end any incomplete command in the adapter. Its answers to them, and to the end
/// of an earlier session, come before its version.
void SlcanBus::CloseChannel() {
  Write("\r\rC\rV");
  const auto is_version = [](const SlcanEvent& event) {
    return event.kind == SlcanEvent::Kind::kAnswer && event.text.starts_with('V');
  };
  const Duration deadline = Now() + (confirms_ ? kVersionLimit : kQuiet);
  while (Left(deadline) > Duration::zero()) {
    const std::vector<SlcanEvent> events = receiver_.Take(port_->Read(Left(deadline)));
    if (std::any_of(events.begin(), events.end(), is_version)) {
      return;
    }
  }
}

SlcanBus::~SlcanBus() {
  try {
    Write("C");
  } catch (const BusError&) {
    // There is nobody left to report to.
    received_.clear();
  }
}

void SlcanBus::Select(const Exchange& exchange) {
  if (exchange.form != TransportForm::kPlainCan) {
    throw BusError("slcan: carries the plain CAN form alone");
  }
  exchange_ = exchange;
}

void SlcanBus::Send(ByteView frame) {
  const std::string failure = TellAdapter(SlcanLineOf(CanFrameTo(exchange_.send, frame)));
  const bool was_in_doubt = std::exchange(is_in_doubt_, !failure.empty());
  if (failure.empty()) {
    return;
  }
  if (was_in_doubt) {
    throw BusError(failure);
  }
  throw DoubtfulFrame(failure);
}

std::optional<Bytes> SlcanBus::Receive(std::chrono::milliseconds timeout) {
  const Duration deadline = Now() + timeout;
  while (received_.empty()) {
    const Duration left = Left(deadline);
    OnUnasked(ReadEvents(left));
    if (received_.empty() && left == Duration::zero()) {
      return std::nullopt;
    }
  }
  Bytes frame = std::move(received_.front());
  received_.pop_front();
  return frame;
}

/// A BEL between two commands means that the adapter lost a frame.
void SlcanBus::OnUnasked(Reply reply) {
  if (reply == Reply::kRefused && std::exchange(is_in_doubt_, true)) {
    throw BusError("the adapter reports one error after the other");
  }
}

void SlcanBus::Break(std::chrono::milliseconds /*low*/) {
  throw BusError("a CAN bus knows no break");
}

void SlcanBus::Write(const std::string& line) {
  Bytes bytes(line.begin(), line.end());
  bytes.push_back(static_cast<std::uint8_t>(kSlcanEndOfLine));
  port_->Write(bytes);
}

void SlcanBus::Command(const std::string& line) {
  if (const std::string failure = TellAdapter(line); !failure.empty()) {
    throw BusError(failure);
  }
}

std::string SlcanBus::TellAdapter(const std::string& line) {
  Write(line);
  if (!confirms_) {
    return {};
  }
  const Duration deadline = Now() + kConfirmationLimit;
  Reply reply = Reply::kNone;
  while (reply == Reply::kNone && Now() < deadline) {
    reply = ReadEvents(Left(deadline));
  }
  switch (reply) {
    case Reply::kAccepted:
      return {};
    case Reply::kRefused:
      return "the adapter refuses \"" + line + '"';
    default:
      return "the adapter does not confirm \"" + line + "\" within " +
             std::to_string(kConfirmationLimit.count()) +
             " ms; one that never does needs \"confirms=no\"";
  }
}

SlcanBus::Reply SlcanBus::ReadEvents(Duration timeout) {
  Reply reply = Reply::kNone;
  for (const SlcanEvent& event : receiver_.Take(port_->Read(timeout))) {
    switch (event.kind) {
      case SlcanEvent::Kind::kFrame:
        Keep(event.frame);
        break;
      case SlcanEvent::Kind::kAccepted:
        reply = Reply::kAccepted;
        break;
      case SlcanEvent::Kind::kRefused:
        reply = Reply::kRefused;
        break;
      default:
        break;
    }
  }
  return reply;
}

void SlcanBus::Keep(const CanFrame& frame) {
  if (frame == CanFrameTo(exchange_.receive, frame.data)) {
    received_.push_back(frame.data);
  }
}

}  // namespace quillmark::host
