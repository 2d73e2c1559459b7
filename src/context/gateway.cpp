// SPDX-License-Identifier: MIT
#include "context/gateway.h"

#include <algorithm>
#include <cstddef>

#include "base/byte_access.h"
#include "base/checked.h"
#include "context/frame_buffers.h"
#include "context/k_message.h"

namespace quillmark::gateway {
namespace {

constexpr std::string_view kAcknowledgement = "81";
constexpr std::size_t kCountSize = 1;

/// Number of frames that carry a message with `length` data bytes.
std::size_t FrameCount(std::size_t length) {
  return (kCountSize + k_message::SizeOf(length) + kCANFrameSize - 1) / kCANFrameSize;
}

/// The count byte and the beginning of a message with `length` data bytes, as far as `data`
/// reaches.
Bytes BuildFrames(k_message::Addresses addresses, ByteView data, std::size_t length) {
  Bytes message = {checked::Convert<std::uint8_t>(FrameCount(length))};
  Append(message, k_message::Build(addresses, data, length));
  return message;
}

/// The frame with an index counted from 0; empty beyond the end of `message`.
ByteView FrameOf(ByteView message, std::size_t index) {
  const std::size_t start = std::min(index * kCANFrameSize, message.size());
  return message.subspan(start, std::min(kCANFrameSize, message.size() - start));
}

}  // namespace

void AddAddressedCANFrames(StepWriter& steps, const Addressing& addressing, ByteView request) {
  k_message::RequireRequestLength(request.size());
  const Bytes message = BuildFrames(k_message::ToEcu(addressing), request, request.size());
  const std::size_t frame_count = FrameCount(request.size());
  for (std::size_t index = 0; index < frame_count; ++index) {
    if (index > 0) {
      steps.Receive(kAcknowledgement);
    }
    steps.Send(FrameOf(message, index));
  }
}

void AddAddressedCANReply(StepWriter& steps, const Addressing& addressing, ByteView expected,
                          std::int32_t reply_length) {
  const std::size_t length = k_message::RequireReplyLength(reply_length);
  const Bytes message = BuildFrames(k_message::ToTester(addressing), expected, length);
  const std::size_t frame_count = FrameCount(length);
  for (std::size_t index = 0; index < frame_count; ++index) {
    if (index > 0) {
      steps.Send(kAcknowledgement);
    }
    steps.Receive(FrameOf(message, index));
  }
  steps.WaitSeparationTime();
}

Bytes ReadReply(ByteView first, ReplyFrames& frames) {
  const std::size_t frame_count = ByteAt(first, 1);
  Bytes message;
  message.reserve(frame_count * kCANFrameSize + first.size());
  Append(message, ViewFrom(first, 2));
  for (std::size_t received = 1; received < frame_count; ++received) {
    Append(message, frames.NextData());
  }
  return k_message::Read(message);
}

}  // namespace quillmark::gateway
