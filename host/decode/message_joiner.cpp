// SPDX-License-Identifier: MIT
#include "host/decode/message_joiner.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace quillmark::host {
namespace {

constexpr std::uint8_t kAcknowledgement = 0x81;

Direction Opposite(Direction direction) {
  return direction == Direction::kToEcu ? Direction::kToTester : Direction::kToEcu;
}

/// Where the service bytes of an ISO 14230-2 message are.
struct Layout {
  std::size_t data_at = 0;
  std::size_t data_size = 0;
};

std::optional<Layout> LayoutOf(ByteView message) {
  constexpr std::uint8_t kLengthMask = 0x3F;
  constexpr std::size_t kShortHeader = 3;
  if (message.size() <= kShortHeader) {
    return std::nullopt;
  }
  const std::size_t short_length = message[0] & kLengthMask;
  return short_length != 0 ? Layout{kShortHeader, short_length}
                           : Layout{kShortHeader + 1, message[kShortHeader]};
}

/// The defect of a whole message; empty if there is none.
std::string ChecksumDefect(ByteView message, const Layout& layout) {
  const std::size_t end = layout.data_at + layout.data_size;
  if (message.size() <= end) {
    return "cut short";
  }
  const ByteView summed = message.first(end);
  const auto sum = static_cast<std::uint8_t>(std::accumulate(summed.begin(), summed.end(), 0U));
  return message[end] == sum
             ? ""
             : fmt::format("wrong checksum {:02X}, it should be {:02X}", message[end], sum);
}

}  // namespace

std::string_view NameOf(FrameKind kind) {
  constexpr std::array<std::string_view, 8> kNames{
      "single frame", "first frame",     "consecutive frame", "flow control",
      "piece",        "acknowledgement", "message",           "stray frame"};
  return kNames.at(static_cast<std::size_t>(kind));
}

JoinedFrame MessageJoiner::Add(Direction direction, ByteView frame) {
  switch (form_) {
    case TransportForm::kPlainCan:
      return AddCanFrame(direction, frame);
    case TransportForm::kGateway:
      return AddGatewayFrame(direction, frame);
    default:
      return AddKLineMessage(direction, frame);
  }
}

void MessageJoiner::Finish() {
  BreakOff(Direction::kToEcu);
  BreakOff(Direction::kToTester);
}

bool MessageJoiner::IsInsideMessage() const {
  return std::any_of(open_.begin(), open_.end(),
                     [](const Assembly& open) { return open.message.has_value(); });
}

JoinedFrame MessageJoiner::AddCanFrame(Direction direction, ByteView frame) {
  if (frame.empty()) {
    return AddStray(direction, frame, "an empty frame");
  }
  switch (frame[0] >> 4U) {
    case 0: {
      Begin(direction, frame[0]);
      const JoinedFrame joined = Append(direction, FrameKind::kSingle, frame, 1);
      BreakOff(direction);
      return joined;
    }
    case 1:
      if (frame.size() < 2) {
        return AddStray(direction, frame, "a first frame without length");
      }
      Begin(direction, (frame[0] & 0x0FU) << 8U | frame[1]);
      return Append(direction, FrameKind::kFirst, frame, 2);
    case 2:
      return AddConsecutiveFrame(direction, frame);
    case 3:
      if (const auto message = OpenOf(Opposite(direction)).message) {
        return {.kind = FrameKind::kFlowControl, .message = *message};
      }
      return AddStray(direction, frame, "flow control without a message");
    default:
      return AddStray(direction, frame, "a frame of an unknown type");
  }
}

JoinedFrame MessageJoiner::AddConsecutiveFrame(Direction direction, ByteView frame) {
  Assembly& open = OpenOf(direction);
  if (!open.message) {
    return AddStray(direction, frame, "a consecutive frame without a first one");
  }
  const unsigned number = frame[0] & 0x0FU;
  if (number != open.next_number) {
    SetDefect(*open.message,
              fmt::format("consecutive frame {} came where {} was due", number, open.next_number));
  }
  open.next_number = (number + 1) & 0x0FU;
  return Append(direction, FrameKind::kConsecutive, frame, 1);
}

JoinedFrame MessageJoiner::AddGatewayFrame(Direction direction, ByteView frame) {
  Assembly& open = OpenOf(direction);
  if (open.message) {
    return AddPiece(direction, frame, 0);
  }
  const auto other = OpenOf(Opposite(direction)).message;
  if (other && !frame.empty() && frame[0] == kAcknowledgement) {
    return {.kind = FrameKind::kAcknowledgement, .message = *other};
  }
  const auto layout = frame.empty() ? std::nullopt : LayoutOf(frame.subspan(1));
  if (!layout || frame[0] == 0) {
    return AddStray(direction, frame, "no beginning of a message");
  }
  Begin(direction, layout->data_size);
  open.missing_pieces = frame[0];
  return AddPiece(direction, frame, 1);
}

JoinedFrame MessageJoiner::AddPiece(Direction direction, ByteView frame, std::size_t payload_at) {
  Assembly& open = OpenOf(direction);
  const std::size_t message = *open.message;
  const std::size_t position = open.raw.size();
  const ByteView part = frame.subspan(std::min(payload_at, frame.size()));
  open.raw.insert(open.raw.end(), part.begin(), part.end());
  --open.missing_pieces;
  const Layout layout = LayoutOf(open.raw).value_or(Layout{});
  const std::size_t header_left = layout.data_at - std::min(layout.data_at, position);
  const std::string defect =
      open.missing_pieces == 0 ? ChecksumDefect(open.raw, layout) : std::string();
  const JoinedFrame joined = Append(direction, FrameKind::kPiece, frame, payload_at + header_left);
  if (open.missing_pieces == 0) {
    SetDefect(message, defect);
    open = {};
  }
  return joined;
}

JoinedFrame MessageJoiner::AddKLineMessage(Direction direction, ByteView frame) {
  const auto layout = LayoutOf(frame);
  if (!layout) {
    return AddStray(direction, frame, "too short for a message");
  }
  Begin(direction, layout->data_size);
  const JoinedFrame joined = Append(direction, FrameKind::kMessage, frame, layout->data_at);
  SetDefect(joined.message, ChecksumDefect(frame, *layout));
  OpenOf(direction) = {};
  return joined;
}

JoinedFrame MessageJoiner::AddStray(Direction direction, ByteView frame, const char* defect) {
  messages_.push_back({direction, Bytes(frame.begin(), frame.end()), frame.size(), defect});
  return {.kind = FrameKind::kStray,
          .message = messages_.size() - 1,
          .payload_at = 0,
          .payload_size = frame.size()};
}

void MessageJoiner::Begin(Direction direction, std::size_t announced) {
  BreakOff(direction);
  messages_.push_back({.direction = direction, .announced = announced});
  Assembly& open = OpenOf(direction);
  open.message = messages_.size() - 1;
  open.missing_bytes = announced;
}

/// Takes the service bytes that begin at `payload_at`. In plain CAN form, their number says when a
/// message is complete.
JoinedFrame MessageJoiner::Append(Direction direction, FrameKind kind, ByteView frame,
                                  std::size_t payload_at) {
  Assembly& open = OpenOf(direction);
  const std::size_t message = *open.message;
  const ByteView rest = frame.subspan(std::min(payload_at, frame.size()));
  const ByteView payload = rest.first(std::min(open.missing_bytes, rest.size()));
  Bytes& bytes = messages_[message].bytes;
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  open.missing_bytes -= payload.size();
  if (open.missing_bytes == 0 && form_ == TransportForm::kPlainCan) {
    open = {};
  }
  return {.kind = kind,
          .message = message,
          .payload_at = payload.empty() ? 0 : payload_at,
          .payload_size = payload.size()};
}

void MessageJoiner::BreakOff(Direction direction) {
  Assembly& open = OpenOf(direction);
  if (open.message) {
    const JoinedMessage& message = messages_[*open.message];
    SetDefect(*open.message, fmt::format("breaks off after {} of {} bytes", message.bytes.size(),
                                         message.announced));
  }
  open = {};
}

/// The first defect is the most informative.
void MessageJoiner::SetDefect(std::size_t message, const std::string& defect) {
  if (messages_[message].defect.empty()) {
    messages_[message].defect = defect;
  }
}

MessageJoiner::Assembly& MessageJoiner::OpenOf(Direction direction) {
  return open_.at(static_cast<std::size_t>(direction));
}

}  // namespace quillmark::host
