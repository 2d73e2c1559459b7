// SPDX-License-Identifier: MIT
#include "host/runner/message_reader.h"

#include <algorithm>

#include "host/services/response_code.h"

namespace quillmark::host {
namespace {

Bytes Copy(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

/// At most `count` bytes from `start` on, as far as they are there.
ByteView Part(ByteView bytes, std::size_t start, std::size_t count) {
  const ByteView rest = bytes.subspan(std::min(start, bytes.size()));
  return rest.first(std::min(count, rest.size()));
}

ByteView ServiceBytesOfKMessage(ByteView message) {
  const std::optional<KMessageLayout> layout = LayoutOfKMessage(message);
  return layout ? Part(message, layout->data_at, layout->data_size) : ByteView{};
}

ByteView ServiceBytesOfCanFrame(ByteView frame) {
  constexpr std::size_t kFirstFrameHeader = 2;
  const unsigned type = frame[0] >> 4U;
  if (type == 0) {
    return Part(frame, 1, frame[0]);
  }
  return type == 1 ? Part(frame, kFirstFrameHeader, frame.size()) : ByteView{};
}

}  // namespace

Bytes ServiceBytesOf(TransportForm form, ByteView frame) {
  if (frame.empty()) {
    return {};
  }
  switch (form) {
    case TransportForm::kPlainCan:
      return Copy(ServiceBytesOfCanFrame(frame));
    case TransportForm::kGateway:
      return Copy(ServiceBytesOfKMessage(frame.subspan(1)));
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

std::optional<KMessageLayout> LayoutOfKMessage(ByteView message) {
  constexpr std::uint8_t kLengthMask = 0x3F;
  constexpr std::size_t kHeader = 3;
  constexpr std::size_t kChecksum = 1;
  if (message.size() <= kHeader) {
    return std::nullopt;
  }
  const std::size_t in_format = message[0] & kLengthMask;
  const KMessageLayout layout =
      in_format != 0 ? KMessageLayout{kHeader, in_format, kHeader + in_format + kChecksum}
                     : KMessageLayout{kHeader + 1, message[kHeader],
                                      kHeader + 1 + message[kHeader] + kChecksum};
  return layout.data_size == 0 ? std::nullopt : std::optional(layout);
}

bool RequestReader::BeginsRequest(ByteView frame) const {
  switch (form_) {
    case TransportForm::kPlainCan:
      return frame[0] < 0x20;
    case TransportForm::kGateway:
      return missing_ == 0 && frame[0] != kGatewayAcknowledgement;
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

std::optional<std::uint8_t> RequestReader::Service() const {
  const ByteView bytes =
      form_ == TransportForm::kPlainCan ? ByteView(message_) : ServiceBytesOfKMessage(message_);
  return bytes.empty() ? std::nullopt : std::optional(bytes.front());
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
