// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/runner/message_reader.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {

/// The role of an arriving frame for the request whose answer is awaited.
enum class FrameRole : std::uint8_t {
  kExpected,      ///< the one that the document expects next, and sound
  kAnswer,        ///< answers the request, but not as the document expects
  kPending,       ///< negative response 78: the answer takes longer
  kWait,          ///< flow status 1: another flow control follows
  kOverflow,      ///< flow status 2: the ECU has no room for the request
  kFlowControl,   ///< a flow control with another block size or separation time
  kEarlyRefusal,  ///< refuses the service, though the request is not sent to its end yet
  kDamaged,       ///< breaks the answer, which can no longer be completed
  kSuspect,       ///< not a sound frame; it may have been the awaited one
  kForeign,       ///< answers nothing: a frame that came twice, or one for another receiver
};

/// Determines the roles of the frames that arrive for a request, and joins those of its answer.
///
/// Pure: it knows no bus and no clock.
class ReplyReader {
 public:
  /// `requests` is what was sent, and outlives the reader.
  ReplyReader(TransportForm form, const RequestReader& requests)
      : form_(form), requests_(requests) {}

  /// From now on another answer is awaited.
  void Begin();

  /// The role of `frame`, of which `hex` is the text, where the document expects `expected`, the
  /// upper-case text that the frame must begin with. An expected frame becomes part of the answer.
  [[nodiscard]] FrameRole Take(ByteView frame, std::string_view hex, std::string_view expected);

  /// Whether `frame` holds a negative response, other than 78, to the service of the request.
  [[nodiscard]] bool RefusesRequest(ByteView frame) const {
    return Refuses(ServiceBytesOf(form_, frame));
  }

  /// Whether the answer was begun and frames of it are missing.
  [[nodiscard]] bool InAnswer() const { return missing_ > 0; }

  /// The service bytes of the answer as far as it was taken.
  [[nodiscard]] Bytes Answer() const;

  /// What is wrong with the last frame that was damaged or suspect: "its checksum is wrong".
  [[nodiscard]] std::string_view damage() const { return damage_; }

 private:
  [[nodiscard]] FrameRole Unsound(FrameRole role, std::string_view what);
  [[nodiscard]] FrameRole TakeWhileSending(ByteView frame);
  [[nodiscard]] FrameRole TakeFlowControl(ByteView frame);
  [[nodiscard]] FrameRole TakeSingleFrame(ByteView frame, bool matches);
  [[nodiscard]] FrameRole TakeFirstFrame(ByteView frame, bool matches);
  [[nodiscard]] FrameRole TakeConsecutiveFrame(ByteView frame, bool matches);
  [[nodiscard]] FrameRole TakeFirstPiece(ByteView frame, bool matches);
  [[nodiscard]] FrameRole TakeFurtherPiece(ByteView frame, bool matches);
  [[nodiscard]] FrameRole TakeKMessage(ByteView message, bool matches);
  [[nodiscard]] bool IsBetweenTheseTwo(ByteView k_message) const;
  /// Of a sound message, or of its beginning.
  [[nodiscard]] FrameRole RoleOf(ByteView service_bytes, bool matches) const;
  [[nodiscard]] bool Refuses(ByteView service_bytes) const;

  TransportForm form_;
  const RequestReader& requests_;
  /// Plain CAN: service bytes; else the K message, without the number of pieces.
  Bytes message_;
  /// Bytes of the message that are still to come.
  std::size_t missing_ = 0;
  /// Plain CAN: the frame that was taken last.
  Bytes last_frame_;
  std::string_view damage_;
};

}  // namespace quillmark::host
