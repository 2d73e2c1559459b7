// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "host/ecu/transport.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// ISO 15765-2 with normal addressing, on an ECU. A message whose frames come out of sequence, too
/// early or too late is discarded without an answer, as in the standard.
class CanTransport : public EcuTransport {
 public:
  /// `handler` must outlive the transport.
  CanTransport(const EcuOptions& options, MessageHandler& handler);

  void OnFrame(ByteView frame, Duration now) override;
  [[nodiscard]] std::optional<Duration> NextDue() const override;
  Bytes TakeFrame(Duration now) override;

 private:
  struct Reception {
    Bytes message;
    std::size_t length;
    std::uint8_t sequence;
    /// Consecutive frames until the next flow control.
    unsigned left_in_block;
    bool first_in_block;
    Duration last_frame;
  };
  struct Transmission {
    Bytes message;
    std::size_t sent;
    std::uint8_t sequence;
    /// Since when it has been waiting for the next flow control.
    Duration since;
  };
  struct TimedFrame {
    Duration due;
    Bytes data;
  };

  void OnSingleFrame(ByteView frame, Duration now);
  void OnFirstFrame(ByteView frame, Duration now);
  void OnConsecutiveFrame(ByteView frame, Duration now);
  void OnFlowControl(ByteView frame, Duration now);
  [[nodiscard]] bool Fits(const Reception& reception, ByteView frame, Duration now) const;
  void QueueFlowControl(Duration now);
  void QueueBlock(unsigned block_size, Duration separation_time, Duration now);
  Bytes NextConsecutiveFrame();
  Bytes StartReply(Duration now);
  void Answer(ByteView request, Duration now);
  void Forget();

  std::uint8_t block_size_;
  std::uint8_t separation_time_;
  EcuTiming timing_;
  MessageHandler& handler_;
  std::optional<Reception> reception_;
  std::optional<Transmission> transmission_;
  std::deque<TimedFrame> frames_;
  std::deque<TimedMessage> replies_;
};

}  // namespace quillmark::host
