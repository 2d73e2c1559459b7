// SPDX-License-Identifier: MIT
#include "host/ecu/gateway_transport.h"

#include <algorithm>
#include <utility>

#include "host/ecu/k_message.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kPieceSize = 8;
constexpr std::uint8_t kAcknowledgement = 0x81;

Bytes WithPieceCount(const Bytes& message) {
  const std::size_t pieces = (1 + message.size() + kPieceSize - 1) / kPieceSize;
  Bytes bytes{static_cast<std::uint8_t>(pieces)};
  bytes.insert(bytes.end(), message.begin(), message.end());
  return bytes;
}

}  // namespace

GatewayTransport::GatewayTransport(const EcuOptions& options, MessageHandler& handler)
    : address_(options.address), timing_(options.timing), handler_(handler) {}

void GatewayTransport::OnFrame(ByteView frame, Duration now) {
  if (frame.empty() || frame.size() > kPieceSize) {
    return;
  }
  if (reception_) {
    OnFurtherPiece(frame, now);
  } else if (frame[0] == kAcknowledgement) {
    OnAcknowledgement(now);
  } else {
    OnFirstPiece(frame, now);
  }
}

std::optional<Duration> GatewayTransport::NextDue() const {
  if (!frames_.empty()) {
    return frames_.front().due;
  }
  if (!transmission_ && !replies_.empty()) {
    return replies_.front().due;
  }
  return std::nullopt;
}

Bytes GatewayTransport::TakeFrame(Duration now) {
  if (!frames_.empty()) {
    Bytes frame = std::move(frames_.front().data);
    frames_.pop_front();
    return frame;
  }
  transmission_ =
      Transmission{.message = WithPieceCount(replies_.front().message), .sent = 0, .since = now};
  replies_.pop_front();
  return NextPiece(now);
}

void GatewayTransport::OnFirstPiece(ByteView frame, Duration now) {
  Forget();
  const std::size_t pieces = frame[0];
  const ByteView data = frame.subspan(1);
  if (pieces == 1) {
    OnWholeMessage(data, now);
    return;
  }
  if (pieces == 0 || frame.size() != kPieceSize) {
    return;
  }
  reception_ = Reception{
      .message = Bytes(data.begin(), data.end()), .pieces_left = pieces - 1, .last_frame = now};
  frames_.push_back({now + timing_.flow_control_delay, {kAcknowledgement}});
}

void GatewayTransport::OnFurtherPiece(ByteView frame, Duration now) {
  Reception& reception = *reception_;
  if (now - reception.last_frame > timing_.frame_timeout) {
    reception_.reset();
    OnFrame(frame, now);
    return;
  }
  const bool acknowledgement_unsent = !frames_.empty();
  const bool last = reception.pieces_left == 1;
  if (acknowledgement_unsent || (!last && frame.size() != kPieceSize)) {
    Forget();
    return;
  }
  reception.message.insert(reception.message.end(), frame.begin(), frame.end());
  reception.last_frame = now;
  if (last) {
    const Bytes message = std::move(reception.message);
    Forget();
    OnWholeMessage(message, now);
    return;
  }
  --reception.pieces_left;
  frames_.push_back({now + timing_.flow_control_delay, {kAcknowledgement}});
}

void GatewayTransport::OnAcknowledgement(Duration now) {
  const bool piece_unsent = !frames_.empty();
  if (!transmission_ || piece_unsent) {
    return;
  }
  if (now - transmission_->since > timing_.frame_timeout) {
    Forget();
    return;
  }
  const Duration due = now + timing_.flow_control_delay;
  frames_.push_back({due, NextPiece(due)});
}

void GatewayTransport::OnWholeMessage(ByteView bytes, Duration now) {
  const std::optional<KMessage> request = DecodeKMessage(bytes);
  if (!request || request->target != address_) {
    return;
  }
  for (TimedMessage& reply : handler_.OnRequest(request->data, now)) {
    replies_.push_back({reply.due, EncodeKMessage({.target = request->source,
                                                   .source = address_,
                                                   .data = std::move(reply.message)})});
  }
}

Bytes GatewayTransport::NextPiece(Duration now) {
  Transmission& transmission = *transmission_;
  const ByteView rest = ByteView(transmission.message).subspan(transmission.sent);
  const ByteView piece = rest.first(std::min(rest.size(), kPieceSize));
  Bytes frame(piece.begin(), piece.end());
  transmission.sent += piece.size();
  transmission.since = now;
  if (transmission.sent == transmission.message.size()) {
    transmission_.reset();
  }
  return frame;
}

/// A new request replaces whatever is in progress.
void GatewayTransport::Forget() {
  reception_.reset();
  transmission_.reset();
  frames_.clear();
  replies_.clear();
}

}  // namespace quillmark::host
