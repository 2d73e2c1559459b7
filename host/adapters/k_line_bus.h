// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>

#include "host/adapters/real_time_bus.h"
#include "host/adapters/serial_port.h"
#include "host/bus/k_line_receiver.h"

namespace quillmark::host {

/// The pauses of ISO 14230-2 that a tester observes.
struct KLineTiming {
  /// P1: the longest between two bytes of the ECU.
  std::chrono::milliseconds p1{100};
  /// P3: the shortest between the ECU's reply and the next request.
  std::chrono::milliseconds p3{55};
  /// P4: between two bytes of the tester; 0 sends a message in one go.
  std::chrono::milliseconds p4{5};
};

/// A K line behind a serial adapter. The line is one wire for both directions, so the adapter hears
/// what it sends: every byte is read back and compared. A message ends where its header says; its
/// checksum is passed on unchecked. Of a message that breaks off, the bytes that came are passed
/// on.
class KLineBus : public RealTimeBus {
 public:
  KLineBus(std::unique_ptr<SerialPort> port, std::uint32_t baud, const KLineTiming& timing);

  void Select(const Exchange& exchange) override;
  /// Returns once the line has carried the message, which its echo shows. If the echo differs, the
  /// ECU may still have received the message.
  void Send(ByteView message) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Break(std::chrono::milliseconds low) override;

 private:
  void KeepP3() const;
  /// Sends bytes and reads them back; returns what the line has carried.
  [[nodiscard]] Bytes SendPart(ByteView bytes);
  void OnHeard(ByteView bytes);

  std::unique_ptr<SerialPort> port_;
  std::uint32_t baud_;
  KLineTiming timing_;
  KLineReceiver receiver_;
  std::deque<Bytes> received_;
  /// When the ECU last sent something.
  std::optional<Duration> heard_at_;
};

}  // namespace quillmark::host
