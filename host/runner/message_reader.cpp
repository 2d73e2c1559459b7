// SPDX-License-Identifier: MIT
#include "host/runner/message_reader.h"

#include <algorithm>

namespace quillmark::host {
namespace {

constexpr std::uint8_t kNegativeResponse = 0x7F;
constexpr std::uint8_t kAcknowledgement = 0x81;

Bytes Copy(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

/// At most `count` bytes from `start` on, as far as they are there.
ByteView Part(ByteView bytes, std::size_t start, std::size_t count) {
  const ByteView rest = bytes.subspan(std::min(start, bytes.size()));
  return rest.first(std::min(count, rest.size()));
}

ByteView ServiceBytesOfKMessage(ByteView message) {
  constexpr std::uint8_t kLengthMask = 0x3F;
  if (message.size() < 4) {
    return {};
  }
  const std::size_t short_length = message[0] & kLengthMask;
  return short_length != 0 ? Part(message, 3, short_length) : Part(message, 4, message[3]);
}

}  // namespace

Bytes ServiceBytesOf(TransportForm form, ByteView frame) {
  if (frame.empty()) {
    return {};
  }
  switch (form) {
    case TransportForm::kPlainCan:
      return frame[0] <= 7 ? Copy(Part(frame, 1, frame[0])) : Bytes{};
    case TransportForm::kGateway:
      return frame[0] == 1 ? Copy(ServiceBytesOfKMessage(frame.subspan(1))) : Bytes{};
    default:
      return Copy(ServiceBytesOfKMessage(frame));
  }
}

std::optional<std::uint8_t> NegativeResponseCodeOf(TransportForm form, ByteView frame) {
  const Bytes reply = ServiceBytesOf(form, frame);
  if (reply.size() != 3 || reply[0] != kNegativeResponse) {
    return std::nullopt;
  }
  return reply[2];
}

bool RequestReader::BeginsRequest(ByteView frame) const {
  switch (form_) {
    case TransportForm::kPlainCan:
      return frame[0] < 0x20;
    case TransportForm::kGateway:
      return missing_ == 0 && frame[0] != kAcknowledgement;
    default:
      return true;
  }
}

void RequestReader::OnSent(ByteView frame) {
  switch (form_) {
    case TransportForm::kPlainCan:
      return OnCanFrame(frame);
    case TransportForm::kGateway:
      return OnGatewayPiece(frame);
    default:
      message_ = Copy(frame);
  }
}

Bytes RequestReader::Request() const {
  return form_ == TransportForm::kPlainCan ? message_ : Copy(ServiceBytesOfKMessage(message_));
}

void RequestReader::OnCanFrame(ByteView frame) {
  const unsigned type = frame[0] >> 4U;
  ByteView data = frame.subspan(1);
  if (type == 0) {
    message_.clear();
    missing_ = frame[0];
  } else if (type == 1 && frame.size() >= 2) {
    message_.clear();
    missing_ = (frame[0] & 0x0FU) << 8U | frame[1];
    data = frame.subspan(2);
  } else if (type != 2) {
    return;
  }
  const ByteView part = Part(data, 0, missing_);
  message_.insert(message_.end(), part.begin(), part.end());
  missing_ -= part.size();
}

void RequestReader::OnGatewayPiece(ByteView frame) {
  if (missing_ > 0) {
    message_.insert(message_.end(), frame.begin(), frame.end());
    --missing_;
  } else if (BeginsRequest(frame)) {
    message_ = Copy(frame.subspan(1));
    missing_ = frame[0] == 0 ? 0 : frame[0] - 1U;
  }
}

}  // namespace quillmark::host
