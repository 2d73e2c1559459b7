// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quillmark/host/decode.h"

namespace quillmark::host {

/// Joins the frames of both directions of an exchange, as an observer that takes no part.
class MessageJoiner {
 public:
  explicit MessageJoiner(TransportForm form) : form_(form) {}

  JoinedFrame Add(Direction direction, ByteView frame);

  /// No more frames follow: an incomplete message is cut off.
  void Finish();

  /// Whether a message waits for frames.
  [[nodiscard]] bool IsInsideMessage() const;
  [[nodiscard]] const std::vector<JoinedMessage>& messages() const { return messages_; }

 private:
  /// A message that is not complete yet.
  struct Assembly {
    std::optional<std::size_t> message{};
    std::size_t missing_bytes = 0;
    /// Plain CAN: the number of the next consecutive frame.
    unsigned next_number = 1;
    /// Gateway: pieces that are still to come, and what came so far, without the count.
    std::size_t missing_pieces = 0;
    Bytes raw{};
  };

  JoinedFrame AddCanFrame(Direction direction, ByteView frame);
  JoinedFrame AddConsecutiveFrame(Direction direction, ByteView frame);
  JoinedFrame AddGatewayFrame(Direction direction, ByteView frame);
  JoinedFrame AddPiece(Direction direction, ByteView frame, std::size_t payload_at);
  JoinedFrame AddKLineMessage(Direction direction, ByteView frame);
  JoinedFrame AddStray(Direction direction, ByteView frame, const char* defect);

  void Begin(Direction direction, std::size_t announced);
  JoinedFrame Append(Direction direction, FrameKind kind, ByteView frame, std::size_t payload_at);
  void BreakOff(Direction direction);
  void SetDefect(std::size_t message, const std::string& defect);
  [[nodiscard]] Assembly& OpenOf(Direction direction);

  TransportForm form_;
  std::vector<JoinedMessage> messages_;
  std::array<Assembly, 2> open_{};
};

}  // namespace quillmark::host
