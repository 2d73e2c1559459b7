// SPDX-License-Identifier: MIT
#include "host/ecu/can_transport.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quillmark::host {
namespace {

constexpr std::size_t kFrameSize = 8;
constexpr std::size_t kSingleFrameData = 7;
constexpr std::size_t kFirstFrameData = 6;
constexpr std::size_t kConsecutiveFrameData = 7;
constexpr std::uint8_t kPadding = 0xAA;

enum class FrameType : std::uint8_t { kSingle = 0, kFirst = 1, kConsecutive = 2, kFlowControl = 3 };

enum class FlowStatus : std::uint8_t { kContinueToSend = 0, kWait = 1 };

FrameType TypeOf(ByteView frame) { return static_cast<FrameType>(frame[0] >> 4U); }

std::uint8_t LowNibble(std::uint8_t byte) { return byte & 0x0FU; }

std::uint8_t Next(std::uint8_t sequence) {
  return LowNibble(static_cast<std::uint8_t>(sequence + 1));
}

/// 0 to 0x7F are milliseconds, 0xF1 to 0xF9 hundreds of microseconds, all others mean the longest.
Duration SeparationTime(std::uint8_t code) {
  if (code >= 0xF1 && code <= 0xF9) {
    return std::chrono::microseconds(100 * (code - 0xF0));
  }
  return std::chrono::milliseconds(std::min<int>(code, 0x7F));
}

Bytes Padded(Bytes frame) {
  frame.resize(kFrameSize, kPadding);
  return frame;
}

void Append(Bytes& to, ByteView from) { to.insert(to.end(), from.begin(), from.end()); }

}  // namespace

CanTransport::CanTransport(const EcuOptions& options, MessageHandler& handler)
    : block_size_(options.block_size),
      separation_time_(options.separation_time),
      timing_(options.timing),
      handler_(handler) {}

void CanTransport::OnFrame(ByteView frame, Duration now) {
  if (frame.empty() || frame.size() > kFrameSize) {
    return;
  }
  switch (TypeOf(frame)) {
    case FrameType::kSingle:
      return OnSingleFrame(frame, now);
    case FrameType::kFirst:
      return OnFirstFrame(frame, now);
    case FrameType::kConsecutive:
      return OnConsecutiveFrame(frame, now);
    case FrameType::kFlowControl:
      return OnFlowControl(frame, now);
  }
}

std::optional<Duration> CanTransport::NextDue() const {
  if (!frames_.empty()) {
    return frames_.front().due;
  }
  if (!transmission_ && !replies_.empty()) {
    return replies_.front().due;
  }
  return std::nullopt;
}

Bytes CanTransport::TakeFrame(Duration now) {
  if (frames_.empty()) {
    return StartReply(now);
  }
  Bytes frame = std::move(frames_.front().data);
  frames_.pop_front();
  return frame;
}

void CanTransport::OnSingleFrame(ByteView frame, Duration now) {
  const std::size_t length = LowNibble(frame[0]);
  if (length == 0 || length > kSingleFrameData || length >= frame.size()) {
    return;
  }
  Forget();
  Answer(frame.subspan(1, length), now);
}

void CanTransport::OnFirstFrame(ByteView frame, Duration now) {
  if (frame.size() != kFrameSize) {
    return;
  }
  const std::size_t length = std::size_t{LowNibble(frame[0])} << 8U | frame[1];
  if (length <= kSingleFrameData) {
    return;
  }
  Forget();
  reception_ = Reception{.message = {},
                         .length = length,
                         .sequence = 1,
                         .left_in_block = block_size_,
                         .first_in_block = true,
                         .last_frame = now};
  Append(reception_->message, frame.subspan(2));
  QueueFlowControl(now);
}

void CanTransport::OnConsecutiveFrame(ByteView frame, Duration now) {
  if (!reception_) {
    return;
  }
  Reception& reception = *reception_;
  if (!Fits(reception, frame, now)) {
    Forget();
    return;
  }
  const std::size_t missing = reception.length - reception.message.size();
  Append(reception.message, frame.subspan(1, std::min(missing, kConsecutiveFrameData)));
  if (missing <= kConsecutiveFrameData) {
    const Bytes request = std::move(reception.message);
    Forget();
    Answer(request, now);
    return;
  }
  reception.sequence = Next(reception.sequence);
  reception.first_in_block = false;
  reception.last_frame = now;
  if (block_size_ != 0 && --reception.left_in_block == 0) {
    reception.left_in_block = block_size_;
    reception.first_in_block = true;
    QueueFlowControl(now);
  }
}

bool CanTransport::Fits(const Reception& reception, ByteView frame, Duration now) const {
  const std::size_t missing = reception.length - reception.message.size();
  const Duration pause = now - reception.last_frame;
  const bool flow_control_unsent = !frames_.empty();
  const bool too_early = !reception.first_in_block && pause < SeparationTime(separation_time_);
  return LowNibble(frame[0]) == reception.sequence && !flow_control_unsent && !too_early &&
         pause <= timing_.frame_timeout && frame.size() > std::min(missing, kConsecutiveFrameData);
}

void CanTransport::OnFlowControl(ByteView frame, Duration now) {
  const bool block_unsent = !frames_.empty();
  if (!transmission_ || block_unsent) {
    return;
  }
  const auto status = static_cast<FlowStatus>(LowNibble(frame[0]));
  const bool too_late = now - transmission_->since > timing_.frame_timeout;
  if (status == FlowStatus::kWait && !too_late) {
    transmission_->since = now;
    return;
  }
  if (status != FlowStatus::kContinueToSend || too_late || frame.size() < 3) {
    Forget();
    return;
  }
  QueueBlock(frame[1], SeparationTime(frame[2]), now);
}

void CanTransport::QueueFlowControl(Duration now) {
  frames_.push_back(
      {now + timing_.flow_control_delay, Padded({0x30, block_size_, separation_time_})});
}

void CanTransport::QueueBlock(unsigned block_size, Duration separation_time, Duration now) {
  Transmission& transmission = *transmission_;
  Duration due = now + timing_.flow_control_delay;
  unsigned queued = 0;
  while (transmission.sent < transmission.message.size() &&
         (block_size == 0 || queued < block_size)) {
    frames_.push_back({due, NextConsecutiveFrame()});
    due += separation_time;
    ++queued;
  }
  transmission.since = due;
  if (transmission.sent == transmission.message.size()) {
    transmission_.reset();
  }
}

Bytes CanTransport::NextConsecutiveFrame() {
  Transmission& transmission = *transmission_;
  const ByteView rest = ByteView(transmission.message).subspan(transmission.sent);
  const std::size_t size = std::min(rest.size(), kConsecutiveFrameData);
  Bytes frame{static_cast<std::uint8_t>(0x20 | transmission.sequence)};
  Append(frame, rest.first(size));
  transmission.sent += size;
  transmission.sequence = Next(transmission.sequence);
  return Padded(std::move(frame));
}

Bytes CanTransport::StartReply(Duration now) {
  Bytes message = std::move(replies_.front().message);
  replies_.pop_front();
  const auto length = static_cast<unsigned>(message.size());
  if (length <= kSingleFrameData) {
    Bytes frame{static_cast<std::uint8_t>(length)};
    Append(frame, message);
    return Padded(std::move(frame));
  }
  Bytes frame{static_cast<std::uint8_t>(0x10 | length >> 8U),
              static_cast<std::uint8_t>(length & 0xFFU)};
  Append(frame, ByteView(message).first(kFirstFrameData));
  transmission_ = Transmission{
      .message = std::move(message), .sent = kFirstFrameData, .sequence = 1, .since = now};
  return frame;
}

void CanTransport::Answer(ByteView request, Duration now) {
  std::vector<TimedMessage> replies = handler_.OnRequest(request, now);
  replies_.assign(std::make_move_iterator(replies.begin()), std::make_move_iterator(replies.end()));
}

/// A new request replaces whatever is in progress.
void CanTransport::Forget() {
  reception_.reset();
  transmission_.reset();
  frames_.clear();
  replies_.clear();
}

}  // namespace quillmark::host
