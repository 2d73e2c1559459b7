// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "host/ecu/transport.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// ISO 14230-2 on an ECU. It reacts to its own address only, does not answer a damaged message, and
/// sleeps outside a session until the fast initialisation wakes it up: 25 ms low, 25 ms high, then
/// start communication.
class KLineTransport : public EcuTransport {
 public:
  /// `handler` must outlive the transport.
  KLineTransport(const EcuOptions& options, MessageHandler& handler);

  void OnFrame(ByteView frame, Duration now) override;
  void OnBreak(Duration low, Duration now) override;
  [[nodiscard]] std::optional<Duration> NextDue() const override;
  Bytes TakeFrame(Duration now) override;

 private:
  [[nodiscard]] bool Awake(Duration now) const;

  std::uint8_t address_;
  bool needs_break_;
  MessageHandler& handler_;
  std::optional<Duration> woken_at_;
  std::deque<TimedMessage> replies_;
};

}  // namespace quillmark::host
