// SPDX-License-Identifier: MIT
#include "context/plain_can.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>

#include "base/byte_access.h"
#include "base/checked.h"
#include "context/message_table.h"
#include "quillmark/error.h"

namespace quillmark::plain_can {
namespace {

constexpr std::size_t kMaxSingleFrameLength = 7;
constexpr std::size_t kMaxLength = 4095;
constexpr std::size_t kFirstFrameData = 6;
constexpr std::size_t kConsecutiveFrameData = 7;

constexpr std::uint8_t kFirstFrame = 0x10;
constexpr std::uint8_t kConsecutiveFrame = 0x20;
constexpr std::uint8_t kFrameTypeMask = 0xF0;
constexpr std::uint8_t kLengthMask = 0x0F;

/// Continue to send, block size 1, separation time 0: the tester asks for every single frame.
constexpr std::string_view kTesterFlowControl = "3001000000000000";

/// The two header bytes of a first frame: frame type and 12-bit length.
std::array<std::uint8_t, 2> FirstFrameHeader(std::size_t length) {
  return {checked::Convert<std::uint8_t>(kFirstFrame + length / 256),
          checked::Convert<std::uint8_t>(length % 256)};
}

std::uint8_t SequenceNumber(std::size_t index) { return static_cast<std::uint8_t>(index % 16); }

void AddSingleFrame(StepWriter& steps, CANFrame& frame, ByteView request) {
  frame[0] = checked::Convert<std::uint8_t>(request.size());
  std::copy(request.begin(), request.end(), frame.begin() + 1);
  steps.Send(frame);
}

void AddFirstFrame(StepWriter& steps, CANFrame& frame, const FlowControlSettings& flow_control,
                   ByteView request) {
  const auto header = FirstFrameHeader(request.size());
  const auto data = std::copy(header.begin(), header.end(), frame.begin());
  std::copy_n(request.begin(), kFirstFrameData, data);
  steps.Send(frame);
  steps.Receive(flow_control.prefix);
}

/// The number of bytes is a constant for all frames but the last, and the copy then no call.
template <std::size_t kSize>
void AddConsecutiveFrame(StepWriter& steps, CANFrame& frame, std::size_t index,
                         std::span<const std::uint8_t, kSize> data) {
  frame[0] = static_cast<std::uint8_t>(kConsecutiveFrame + SequenceNumber(index));
  std::memcpy(&frame[1], data.data(), data.size());
  steps.Send(frame);
}

void AddConsecutiveFrames(StepWriter& steps, CANFrame& frame,
                          const FlowControlSettings& flow_control, ByteView data) {
  // Block size 0 counts down from 0 and never reaches it again: no further flow control, as in ISO
  // 15765-2.
  std::int32_t frames_to_flow_control = flow_control.block_size;
  std::size_t index = 1;
  for (; data.size() > kConsecutiveFrameData; ++index) {
    AddConsecutiveFrame(steps, frame, index, data.first<kConsecutiveFrameData>());
    data = data.subspan(kConsecutiveFrameData);
    if (--frames_to_flow_control == 0) {
      steps.Receive(flow_control.prefix);
      frames_to_flow_control = flow_control.block_size;
    } else {
      steps.WaitSeparationTime();
    }
  }
  AddConsecutiveFrame(steps, frame, index, data);
}

/// The first two digits of a consecutive frame.
std::string_view ConsecutiveFramePrefix(std::size_t index) {
  constexpr std::string_view kPrefixes = "202122232425262728292A2B2C2D2E2F";
  return kPrefixes.substr(std::size_t{2} * SequenceNumber(index), 2);
}

void AddShortReply(StepWriter& steps, ByteView expected, std::size_t length) {
  CANFrame start{static_cast<std::uint8_t>(length)};
  std::copy(expected.begin(), expected.end(), start.begin() + 1);
  steps.Receive(ByteView(start).first(1 + expected.size()));
}

void AddSegmentedReply(StepWriter& steps, ByteView expected, std::size_t length) {
  if (expected.size() > kFirstFrameData) {
    throw Error(error_number::kInvalidRequest, "can't check more than 6 bytes in segmented reply");
  }
  std::array<std::uint8_t, 2 + kFirstFrameData> start{};
  const auto header = FirstFrameHeader(length);
  const auto data = std::copy(header.begin(), header.end(), start.begin());
  std::copy(expected.begin(), expected.end(), data);
  steps.Receive(ByteView(start).first(header.size() + expected.size()));
  for (std::size_t index = 1; index <= length / kConsecutiveFrameData; ++index) {
    steps.Send(kTesterFlowControl);
    steps.Receive(ConsecutiveFramePrefix(index));
  }
}

Bytes ReadSegments(ByteView first, ReplyFrames& frames) {
  const std::size_t length = std::size_t{256} * (ByteAt(first, 1) & kLengthMask) + ByteAt(first, 2);
  Bytes message;
  message.reserve(length + kConsecutiveFrameData);
  Append(message, ViewAt(first, 3, kFirstFrameData));
  std::size_t received = kFirstFrameData;
  // D11.
  for (; received < length; received += kConsecutiveFrameData) {
    Append(message, ViewFrom(frames.NextData(), 2));
  }
  if (received > length) {
    message.resize(ViewAt(message, 1, length).size());
  }
  return message;
}

}  // namespace

void AddRequestFrames(StepWriter& steps, FrameBuffers& buffers,
                      const FlowControlSettings& flow_control, ByteView request) {
  if (request.size() > kMaxLength) {
    throw Error(error_number::kInvalidRequest,
                "Invalid request length (" + std::to_string(request.size()) + ")");
  }
  if (request.size() <= kMaxSingleFrameLength) {
    AddSingleFrame(steps, buffers.frame, request);
    return;
  }
  AddFirstFrame(steps, buffers.frame, flow_control, request);
  AddConsecutiveFrames(steps, buffers.consecutive, flow_control, request.subspan(kFirstFrameData));
}

void AddExpectedReply(StepWriter& steps, ByteView expected, std::int32_t reply_length) {
  if (reply_length < 0 || reply_length > static_cast<std::int32_t>(kMaxLength)) {
    throw Error(error_number::kInvalidRequest,
                "Invalid reply length (" + std::to_string(reply_length) + ")");
  }
  const auto length = static_cast<std::size_t>(reply_length);
  if (length > kMaxSingleFrameLength) {
    AddSegmentedReply(steps, expected, length);
  } else {
    AddShortReply(steps, expected, length);
  }
  steps.WaitSeparationTime();
}

std::optional<Bytes> ReadReply(ByteView first, ReplyFrames& frames) {
  const std::uint8_t header = ByteAt(first, 1);
  switch (header & kFrameTypeMask) {
    case 0x00:
      return BytesAt(first, 2, header);
    case kFirstFrame:
      return ReadSegments(first, frames);
    default:
      return std::nullopt;
  }
}

}  // namespace quillmark::plain_can
