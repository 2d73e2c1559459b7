// SPDX-License-Identifier: MIT
#include "context/gateway.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/byte_access.h"
#include "base/checked.h"
#include "context/context.h"
#include "context/k_message.h"

namespace quillmark::gateway {
namespace {

constexpr std::string_view kAcknowledgement = "81";
constexpr std::size_t kCountSize = 1;

/// Number of frames that carry a message with `length` data bytes.
std::size_t FrameCount(std::size_t length) {
  return (kCountSize + k_message::SizeOf(length) + kCANFrameSize - 1) / kCANFrameSize;
}

/// The frames of a message with `length` data bytes, as far as `data` reaches: its number of
/// frames, then the message itself.
class Frames {
 public:
  Frames(k_message::Addresses addresses, ByteView data, std::size_t length)
      : count_(FrameCount(length)) {
    const k_message::Message message(addresses, data, length);
    bytes_[0] = checked::Convert<std::uint8_t>(count_);
    const auto* const end =
        std::copy(message.View().begin(), message.View().end(), bytes_.begin() + kCountSize);
    size_ = static_cast<std::size_t>(end - bytes_.begin());
  }

  [[nodiscard]] std::size_t count() const { return count_; }

  /// The frame with an index counted from 0; empty beyond the end of what is known.
  [[nodiscard]] ByteView At(std::size_t index) const {
    const std::size_t start = std::min(index * kCANFrameSize, size_);
    return ByteView(bytes_).subspan(start, std::min(kCANFrameSize, size_ - start));
  }

 private:
  std::size_t count_;
  std::array<std::uint8_t, kCountSize + k_message::Message::kMaxSize> bytes_{};
  std::size_t size_;
};

}  // namespace

void AddAddressedCANFrames(StepWriter& steps, const Addressing& addressing, ByteView request) {
  k_message::RequireRequestLength(request.size());
  const Frames frames(k_message::ToEcu(addressing), request, request.size());
  for (std::size_t index = 0; index < frames.count(); ++index) {
    if (index > 0) {
      steps.Receive(kAcknowledgement);
    }
    steps.Send(frames.At(index));
  }
}

void AddAddressedCANReply(StepWriter& steps, const Addressing& addressing, ByteView expected,
                          std::int32_t reply_length) {
  const std::size_t length = k_message::RequireReplyLength(reply_length);
  const Frames frames(k_message::ToTester(addressing), expected, length);
  for (std::size_t index = 0; index < frames.count(); ++index) {
    if (index > 0) {
      steps.Send(kAcknowledgement);
    }
    steps.Receive(frames.At(index));
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
