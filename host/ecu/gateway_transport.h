// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "host/ecu/transport.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// A CAN gateway and the ECU behind it. A message of ISO 14230-2, preceded by the number of its
/// pieces, travels in pieces of 8 bytes; the receiver acknowledges every piece except the last with
/// a frame that begins with 0x81. The ECU does not answer a damaged message or one for another
/// address.
class GatewayTransport : public EcuTransport {
 public:
  /// `handler` must outlive the transport.
  GatewayTransport(const EcuOptions& options, MessageHandler& handler);

  void OnFrame(ByteView frame, Duration now) override;
  [[nodiscard]] std::optional<Duration> NextDue() const override;
  Bytes TakeFrame(Duration now) override;

 private:
  /// A request with missing pieces.
  struct Reception {
    Bytes message;
    std::size_t pieces_left;
    Duration last_frame;
  };
  /// A reply whose next piece waits for the acknowledgement of the previous one.
  struct Transmission {
    Bytes message;
    std::size_t sent;
    Duration since;
  };
  struct TimedFrame {
    Duration due;
    Bytes data;
  };

  void OnFirstPiece(ByteView frame, Duration now);
  void OnFurtherPiece(ByteView frame, Duration now);
  void OnAcknowledgement(Duration now);
  void OnWholeMessage(ByteView bytes, Duration now);
  Bytes NextPiece(Duration now);
  void Forget();

  std::uint8_t address_;
  EcuTiming timing_;
  MessageHandler& handler_;
  std::optional<Reception> reception_;
  std::optional<Transmission> transmission_;
  std::deque<TimedFrame> frames_;
  std::deque<TimedMessage> replies_;
};

}  // namespace quillmark::host
