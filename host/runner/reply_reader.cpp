// SPDX-License-Identifier: MIT
#include "host/runner/reply_reader.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include "host/services/response_code.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kResponseBit = 0x40;
constexpr std::size_t kFrameSize = 8;

constexpr std::string_view kCutOff = "it is cut off";
constexpr std::string_view kWrongChecksum = "its checksum is wrong";

void Append(Bytes& to, ByteView from) { to.insert(to.end(), from.begin(), from.end()); }

bool IsAcknowledgement(ByteView frame) {
  return frame.size() == 1 && frame[0] == kGatewayAcknowledgement;
}

bool ChecksumIsRight(ByteView message) {
  const auto sum = std::accumulate(message.begin(), message.end() - 1, 0U);
  return (sum & 0xFFU) == message.back();
}

}  // namespace

void ReplyReader::Begin() {
  message_.clear();
  missing_ = 0;
}

Bytes ReplyReader::Answer() const {
  return form_ == TransportForm::kPlainCan ? message_
                                           : ServiceBytesOf(TransportForm::kKLine, message_);
}

FrameRole ReplyReader::Take(ByteView frame, std::string_view hex, std::string_view expected) {
  const bool matches = hex.starts_with(expected);
  if (frame.empty()) {
    return FrameRole::kForeign;
  }
  if (requests_.Unfinished()) {
    return matches ? FrameRole::kExpected : TakeWhileSending(frame);
  }
  switch (form_) {
    case TransportForm::kPlainCan:
      switch (frame[0] >> 4U) {
        case 0:
          return TakeSingleFrame(frame, matches);
        case 1:
          return TakeFirstFrame(frame, matches);
        case 2:
          return TakeConsecutiveFrame(frame, matches);
        default:
          return FrameRole::kForeign;
      }
    case TransportForm::kGateway:
      return InAnswer() ? TakeFurtherPiece(frame, matches) : TakeFirstPiece(frame, matches);
    default:
      return TakeKMessage(frame, matches);
  }
}

FrameRole ReplyReader::Unsound(FrameRole role, std::string_view what) {
  damage_ = what;
  return role;
}

FrameRole ReplyReader::TakeWhileSending(ByteView frame) {
  if (form_ == TransportForm::kPlainCan && frame[0] >> 4U == 3) {
    return TakeFlowControl(frame);
  }
  return RefusesRequest(frame) ? FrameRole::kEarlyRefusal : FrameRole::kForeign;
}

FrameRole ReplyReader::TakeFlowControl(ByteView frame) {
  constexpr std::size_t kShortest = 3;
  switch (frame[0] & 0x0FU) {
    case 0:
      return frame.size() < kShortest ? Unsound(FrameRole::kSuspect, kCutOff)
                                      : FrameRole::kFlowControl;
    case 1:
      return FrameRole::kWait;
    case 2:
      return FrameRole::kOverflow;
    default:
      return Unsound(FrameRole::kSuspect, "it is a flow control without a meaning");
  }
}

FrameRole ReplyReader::TakeSingleFrame(ByteView frame, bool matches) {
  const std::size_t length = frame[0];
  const bool nothing_is_expected = matches && length == 0;
  if ((length == 0 && !nothing_is_expected) || length >= frame.size()) {
    return Unsound(FrameRole::kSuspect, kCutOff);
  }
  const ByteView data = frame.subspan(1, length);
  if (InAnswer()) {
    return Refuses(data) ? FrameRole::kAnswer : FrameRole::kForeign;
  }
  const FrameRole role = nothing_is_expected ? FrameRole::kExpected : RoleOf(data, matches);
  if (role == FrameRole::kExpected) {
    message_.assign(data.begin(), data.end());
  }
  return role;
}

FrameRole ReplyReader::TakeFirstFrame(ByteView frame, bool matches) {
  constexpr std::size_t kHeader = 2;
  if (frame.size() != kFrameSize) {
    return Unsound(FrameRole::kSuspect, kCutOff);
  }
  if (InAnswer()) {
    return std::equal(frame.begin(), frame.end(), last_frame_.begin(), last_frame_.end())
               ? FrameRole::kForeign
               : Unsound(FrameRole::kDamaged, "another answer begins in the midst of this one");
  }
  const std::size_t length = std::size_t{frame[0] & 0x0FU} << 8U | frame[1];
  const ByteView data = frame.subspan(kHeader);
  if (length < kFrameSize) {
    return Unsound(FrameRole::kSuspect, "it announces too few bytes");
  }
  const FrameRole role = RoleOf(data, matches);
  if (role == FrameRole::kExpected) {
    message_.assign(data.begin(), data.end());
    missing_ = length - data.size();
    last_frame_.assign(frame.begin(), frame.end());
  }
  return role;
}

FrameRole ReplyReader::TakeConsecutiveFrame(ByteView frame, bool matches) {
  if (!InAnswer()) {
    return FrameRole::kForeign;
  }
  if (!matches) {
    return std::equal(frame.begin(), frame.end(), last_frame_.begin(), last_frame_.end())
               ? FrameRole::kForeign
               : Unsound(FrameRole::kDamaged, "its number is out of sequence");
  }
  const std::size_t size = std::min(missing_, kFrameSize - 1);
  if (frame.size() <= size) {
    return Unsound(FrameRole::kDamaged, kCutOff);
  }
  Append(message_, frame.subspan(1, size));
  missing_ -= size;
  last_frame_.assign(frame.begin(), frame.end());
  return FrameRole::kExpected;
}

FrameRole ReplyReader::TakeFirstPiece(ByteView frame, bool matches) {
  const ByteView piece = frame.subspan(1);
  if (IsAcknowledgement(frame)) {
    return FrameRole::kForeign;
  }
  const std::optional<KMessageLayout> layout = LayoutOfKMessage(piece);
  const std::size_t size = layout ? std::min(layout->size, kFrameSize - 1) : 0;
  if (!layout || piece.size() != size || frame[0] != 1 + layout->size / kFrameSize) {
    return Unsound(FrameRole::kSuspect, kCutOff);
  }
  if (piece.size() == layout->size && !ChecksumIsRight(piece)) {
    return Unsound(FrameRole::kSuspect, kWrongChecksum);
  }
  if (!IsBetweenTheseTwo(piece)) {
    return FrameRole::kForeign;
  }
  const FrameRole role = RoleOf(
      piece.subspan(layout->data_at, std::min(layout->data_size, size - layout->data_at)), matches);
  if (role == FrameRole::kExpected) {
    message_.assign(piece.begin(), piece.end());
    missing_ = layout->size - piece.size();
  }
  return role;
}

FrameRole ReplyReader::TakeFurtherPiece(ByteView frame, bool matches) {
  const std::size_t size = std::min(missing_, kFrameSize);
  if (frame.size() != size && IsAcknowledgement(frame)) {
    return FrameRole::kForeign;
  }
  if (!matches || frame.size() != size) {
    return RefusesRequest(frame) ? FrameRole::kAnswer : Unsound(FrameRole::kDamaged, kCutOff);
  }
  Append(message_, frame);
  missing_ -= size;
  return InAnswer() || ChecksumIsRight(message_) ? FrameRole::kExpected
                                                 : Unsound(FrameRole::kDamaged, kWrongChecksum);
}

FrameRole ReplyReader::TakeKMessage(ByteView message, bool matches) {
  const std::optional<KMessageLayout> layout = LayoutOfKMessage(message);
  if (!layout || message.size() != layout->size) {
    return Unsound(FrameRole::kDamaged, kCutOff);
  }
  if (!ChecksumIsRight(message)) {
    return Unsound(FrameRole::kDamaged, kWrongChecksum);
  }
  if (!IsBetweenTheseTwo(message)) {
    return FrameRole::kForeign;
  }
  const FrameRole role = RoleOf(message.subspan(layout->data_at, layout->data_size), matches);
  if (role == FrameRole::kExpected) {
    message_.assign(message.begin(), message.end());
  }
  return role;
}

bool ReplyReader::IsBetweenTheseTwo(ByteView k_message) const {
  const ByteView request = requests_.Message();
  return request.size() < 3 || (k_message[1] == request[2] && k_message[2] == request[1]);
}

FrameRole ReplyReader::RoleOf(ByteView service_bytes, bool matches) const {
  const std::optional<std::uint8_t> service = requests_.Service();
  if (matches) {
    return FrameRole::kExpected;
  }
  if (!service) {
    return FrameRole::kAnswer;
  }
  if (service_bytes[0] == kNegativeResponse) {
    const bool is_pending = service_bytes.size() >= 3 && service_bytes[1] == *service &&
                            service_bytes[2] == kResponsePending;
    return is_pending               ? FrameRole::kPending
           : Refuses(service_bytes) ? FrameRole::kAnswer
                                    : FrameRole::kForeign;
  }
  return service_bytes[0] == *service + kResponseBit ? FrameRole::kAnswer : FrameRole::kForeign;
}

bool ReplyReader::Refuses(ByteView service_bytes) const {
  return service_bytes.size() >= 3 && service_bytes[0] == kNegativeResponse &&
         service_bytes[1] == requests_.Service() && service_bytes[2] != kResponsePending;
}

}  // namespace quillmark::host
