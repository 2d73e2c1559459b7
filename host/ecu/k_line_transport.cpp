// SPDX-License-Identifier: MIT
#include "host/ecu/k_line_transport.h"

#include "host/ecu/k_message.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kShortestBreak{24};
constexpr milliseconds kLongestBreak{26};
/// From the end of the break to the end of start communication: the line stays high for 25 ms, and
/// the message needs its own time on the wire.
constexpr milliseconds kEarliestStart{24};
constexpr milliseconds kLatestStart{100};

}  // namespace

KLineTransport::KLineTransport(const EcuOptions& options, MessageHandler& handler)
    : address_(options.address), needs_break_(options.needs_break), handler_(handler) {}

void KLineTransport::OnFrame(ByteView frame, Duration now) {
  const std::optional<KMessage> request = DecodeKMessage(frame);
  if (!request || request->target != address_ || !Awake(now)) {
    return;
  }
  replies_.clear();
  for (TimedMessage& reply : handler_.OnRequest(request->data, now)) {
    replies_.push_back({reply.due, EncodeKMessage({.target = request->source,
                                                   .source = address_,
                                                   .data = std::move(reply.message)})});
  }
}

void KLineTransport::OnBreak(Duration low, Duration now) {
  woken_at_.reset();
  if (low >= kShortestBreak && low <= kLongestBreak) {
    woken_at_ = now;
  }
}

std::optional<Duration> KLineTransport::NextDue() const {
  return replies_.empty() ? std::nullopt : std::optional(replies_.front().due);
}

Bytes KLineTransport::TakeFrame(Duration /*now*/) {
  Bytes frame = std::move(replies_.front().message);
  replies_.pop_front();
  return frame;
}

bool KLineTransport::Awake(Duration now) const {
  if (!needs_break_ || handler_.InSession(now)) {
    return true;
  }
  return woken_at_ && now - *woken_at_ >= kEarliestStart && now - *woken_at_ <= kLatestStart;
}

}  // namespace quillmark::host
