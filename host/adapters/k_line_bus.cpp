// SPDX-License-Identifier: MIT
#include "host/adapters/k_line_bus.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {
namespace {

/// What an adapter and the system may add to the time of a byte on the line.
constexpr std::chrono::milliseconds kEchoAllowance{1000};

}  // namespace

KLineBus::KLineBus(std::unique_ptr<SerialPort> port, std::uint32_t baud, const KLineTiming& timing)
    : port_(std::move(port)), baud_(baud), timing_(timing) {}

void KLineBus::Select(const Exchange& exchange) {
  if (exchange.form != TransportForm::kKLine) {
    throw BusError("kline: carries the K line form alone");
  }
}

void KLineBus::Send(ByteView message) {
  KeepP3();
  const std::size_t part = timing_.p4.count() == 0 ? message.size() : 1;
  Bytes carried;
  for (std::size_t at = 0; at < message.size(); at += part) {
    if (at > 0) {
      Wait(timing_.p4);
    }
    const Bytes echo = SendPart(message.subspan(at, part));
    carried.insert(carried.end(), echo.begin(), echo.end());
  }
  if (!std::equal(carried.begin(), carried.end(), message.begin(), message.end())) {
    throw DoubtfulFrame("the K line carries " + HexOf(carried) + " where " + HexOf(message) +
                        " was sent: noise, another tester, or a line that is held");
  }
}

Bytes KLineBus::SendPart(ByteView bytes) {
  port_->Write(bytes);
  const WireSpeed speed{.k_line_baud = baud_};
  const Duration deadline =
      Now() + WireTime({.form = TransportForm::kKLine}, bytes.size(), speed) + kEchoAllowance;
  Bytes echo;
  while (echo.size() < bytes.size()) {
    const Bytes heard = port_->Read(Left(deadline));
    echo.insert(echo.end(), heard.begin(), heard.end());
    if (heard.empty() && Now() >= deadline) {
      throw BusError("the K line adapter hears " + std::to_string(echo.size()) + " of the " +
                     std::to_string(bytes.size()) +
                     " bytes that it sent: is it one for a K line, is the line powered?");
    }
  }
  OnHeard(ByteView(echo).subspan(bytes.size()));
  echo.resize(bytes.size());
  return echo;
}

std::optional<Bytes> KLineBus::Receive(std::chrono::milliseconds timeout) {
  const Duration deadline = Now() + timeout;
  while (received_.empty()) {
    const bool in_message = receiver_.InMessage();
    const Duration left = in_message ? Duration(timing_.p1) : Left(deadline);
    const Bytes heard = port_->Read(left);
    OnHeard(heard);
    if (heard.empty() && in_message) {
      return receiver_.OnSilence();
    }
    if (heard.empty() && left == Duration::zero()) {
      return std::nullopt;
    }
  }
  Bytes message = std::move(received_.front());
  received_.pop_front();
  return message;
}

void KLineBus::Break(std::chrono::milliseconds low) {
  KeepP3();
  port_->Break(low);
}

void KLineBus::KeepP3() const {
  if (heard_at_) {
    std::this_thread::sleep_for(Left(*heard_at_ + timing_.p3));
  }
}

void KLineBus::OnHeard(ByteView bytes) {
  if (bytes.empty()) {
    return;
  }
  heard_at_ = Now();
  for (Bytes& message : receiver_.Take(bytes)) {
    received_.push_back(std::move(message));
  }
}

}  // namespace quillmark::host
