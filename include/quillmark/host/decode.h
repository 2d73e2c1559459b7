// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/bytes.h"
#include "quillmark/host/trace.h"

namespace quillmark::host {

/// What a message is in a dialogue.
enum class MessageKind : std::uint8_t {
  kRequest,   ///< the tester asks
  kPositive,  ///< a positive response
  kNegative,  ///< a negative response
  kPending,   ///< the negative response "response pending"
};

/// A message in words.
struct Description {
  MessageKind kind = MessageKind::kRequest;  ///< a request, or which kind of response
  /// The service, or the one that is answered: 0x34, also for 0x74 and for 7F 34.
  std::uint8_t service = 0;
  /// "request download"; "service 99" if it is unknown.
  std::string name{};
  /// "memory 00, 0x008000 to 0x00807F, 128 bytes"; empty if there is nothing to say.
  std::string parameters{};
  /// Of a download or an upload of memory.
  std::optional<AddressRange> memory{};
  /// Where the data of such a message begins; 0 if it carries none.
  std::size_t data_at = 0;
};

/// Explains the service bytes of a message. What is cut off is left out; an empty message has no
/// name.
[[nodiscard]] QUILLMARK_API Description Describe(ByteView message);

/// Where a request puts its data; nothing if it is not a download into memory.
[[nodiscard]] QUILLMARK_API std::optional<AddressRange> DownloadIn(ByteView request);

/// "request download, positive: accepted".
[[nodiscard]] QUILLMARK_API std::string TextOf(const Description& description);

/// The role of a frame in its message.
enum class FrameKind : std::uint8_t {
  kSingle,           ///< a whole message of ISO 15765-2
  kFirst,            ///< begins a longer one
  kConsecutive,      ///< continues it
  kFlowControl,      ///< goes the other way than its message
  kPiece,            ///< of a message through a gateway
  kAcknowledgement,  ///< of such a piece; goes the other way
  kMessage,          ///< a whole K line message
  kStray,            ///< belongs to no message; forms one of its own
};

/// "single frame", "flow control", …
[[nodiscard]] QUILLMARK_API std::string_view NameOf(FrameKind kind);

/// The place of a frame in its message.
struct JoinedFrame {
  FrameKind kind = FrameKind::kStray;  ///< what it is for
  std::size_t message = 0;             ///< index of the message
  std::size_t payload_at = 0;          ///< where the service bytes begin in the frame
  std::size_t payload_size = 0;        ///< how many there are

  friend bool operator==(const JoinedFrame&, const JoinedFrame&) = default;
};

/// A message, joined from its frames.
struct JoinedMessage {
  Direction direction = Direction::kToEcu;  ///< that of its data, not of its flow control
  Bytes bytes{};                            ///< the service bytes that came
  std::size_t announced = 0;                ///< how many its first frame announced
  /// What is wrong with it; empty if nothing is.
  std::string defect{};

  friend bool operator==(const JoinedMessage&, const JoinedMessage&) = default;
};

/// A frame of a trace, and its place in a message.
struct DecodedFrame {
  Duration at{};                            ///< since the trace began
  Direction direction = Direction::kToEcu;  ///< who sent it
  Bytes data{};                             ///< all its bytes
  JoinedFrame role{};                       ///< which message it belongs to
};

/// A message of a trace, and what it says.
struct DecodedMessage {
  JoinedMessage message{};    ///< its bytes
  Description description{};  ///< its meaning
  Duration began{};           ///< time of its first frame, since the trace began
  Duration ended{};           ///< time of its last frame
  std::size_t frames = 0;     ///< including flow control and acknowledgements
};

/// A trace with its frames joined.
struct Decoding {
  Exchange exchange{};                     ///< that of the trace
  std::vector<DecodedFrame> frames{};      ///< in the order of the trace
  std::vector<DecodedMessage> messages{};  ///< in the order of their first frames
  std::vector<TraceEntry> breaks{};        ///< `TraceEntryKind::kBreak`, on a K line
};

/// Joins the frames of a trace and explains its messages.
[[nodiscard]] QUILLMARK_API Decoding Decode(const Trace& trace);

/// What a message says, with its defect, if any.
[[nodiscard]] QUILLMARK_API std::string TextOf(const DecodedMessage& message);

/// How much of a trace or a document is listed.
enum class ListingDetail : std::uint8_t {
  kMessages,  ///< a line for each message
  kFrames,    ///< and one for each of its frames
};

/// Lists a trace: time in seconds, > to the ECU or < from it, the number of frames, the service
/// bytes and what they say.
QUILLMARK_API void ListTrace(std::ostream& out, const Decoding& decoding, ListingDetail detail);

/// Lists a document, which may have been run or not: replies that have not come yet are listed as
/// expected. Raises Error 13 if it is not a document of the form.
QUILLMARK_API void ListDocument(std::ostream& out, const DOMDocument& document, TransportForm form,
                                ListingDetail detail);

}  // namespace quillmark::host
