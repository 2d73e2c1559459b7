// SPDX-License-Identifier: MIT
#include "campaign/fault_injection.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/bus/k_line_receiver.h"
#include "host/ecu/k_message.h"

namespace quillmark::campaign {
namespace {

using host::Bytes;
using host::ByteView;
using host::Direction;
using host::FrameOnWire;
using host::TransportForm;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr std::uint8_t kTester = 0xF1;
constexpr std::uint8_t kAcknowledgement = 0x81;
constexpr std::uint8_t kResponsePending = 0x78;
constexpr std::uint8_t kBusyRepeatRequest = 0x21;
constexpr std::uint8_t kBlockChecksumError = 0x77;
constexpr std::uint8_t kDownload = 0x34;

FrameOnWire Later(FrameOnWire frame, microseconds time) {
  frame.at += time;
  return frame;
}

FrameOnWire Truncated(FrameOnWire frame, std::uint32_t detail) {
  frame.data.resize(detail % frame.data.size());
  return frame;
}

FrameOnWire Flipped(FrameOnWire frame, std::uint32_t detail) {
  for (std::uint32_t left = 1 + detail % 3; left > 0; --left) {
    detail = detail * 1'664'525U + 1'013'904'223U;
    const std::uint32_t bit = (detail >> 8U) % static_cast<std::uint32_t>(8 * frame.data.size());
    frame.data[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
  }
  return frame;
}

/// The same, where the checksum tells, whether it is the last byte of the frame or not. Of bits
/// that make up for each other, only one is taken.
FrameOnWire FlippedVisibly(const FrameOnWire& frame, std::uint32_t detail, std::size_t covered_at) {
  const auto is_seen = [&](const FrameOnWire& flipped) {
    std::uint8_t change = 0;
    std::uint8_t last = 0;
    for (std::size_t at = covered_at; at < frame.data.size(); ++at) {
      last = static_cast<std::uint8_t>(flipped.data[at] - frame.data[at]);
      change = static_cast<std::uint8_t>(change + last);
    }
    return change != 0 && change != static_cast<std::uint8_t>(2 * last);
  };
  FrameOnWire flipped = Flipped(frame, detail);
  if (!is_seen(flipped)) {
    flipped = frame;
    flipped.data[covered_at] ^= static_cast<std::uint8_t>(1U << detail % 8);
  }
  return flipped;
}

/// The low half of the first byte: in every form a number or a length.
FrameOnWire Misnumbered(FrameOnWire frame, std::uint32_t detail) {
  std::uint8_t& first = frame.data.front();
  first = static_cast<std::uint8_t>((first & 0xF0U) | ((first + 1 + detail % 15) & 0x0FU));
  return frame;
}

/// Longer than the tester waits: 80 s.
std::vector<FrameOnWire> Endless(const FrameOnWire& frame, milliseconds interval) {
  std::vector<FrameOnWire> frames;
  for (milliseconds late{0}; late < milliseconds(80'000); late += interval) {
    frames.push_back(Later(frame, late));
  }
  return frames;
}

}  // namespace

std::vector<FrameOnWire> FaultInjection::OnFrame(const FrameOnWire& frame) {
  NoteService(frame);
  CountChances(frame);
  std::vector<FrameOnWire> frames{frame};
  for (Fault& fault : faults_) {
    if (!frames.empty() && !frames.front().data.empty() && Concerns(fault.kind, frames.front()) &&
        Happens(fault)) {
      frames = Apply(fault, frames.front());
    }
  }
  KeepOrder(frames);
  return silent_ ? std::vector<FrameOnWire>{} : frames;
}

void FaultInjection::OnProgress(const host::Progress& progress) {
  phase_ = progress.phase;
  if (AnyHappens(FaultKind::kThrowingHandler)) {
    throw HostFailure();
  }
}

bool FaultInjection::OnKey() {
  constexpr std::uint32_t kPatience = 30;
  if (AnyHappens(FaultKind::kThrowingKey) || key_waits_ == kPatience) {
    throw HostFailure();
  }
  const bool hangs = key_waits_ > 0 || AnyHappens(FaultKind::kHangingKey);
  key_waits_ += hangs ? 1 : 0;
  return !hangs;
}

void FaultInjection::OnBackup() {
  if (AnyHappens(FaultKind::kThrowingBackup)) {
    throw HostFailure();
  }
}

bool FaultInjection::StopRequested() {
  cancelled_ = cancelled_ || AnyHappens(FaultKind::kCancel);
  return cancelled_;
}

bool FaultInjection::Happens(Fault& fault) {
  constexpr auto kPast = static_cast<std::uint32_t>(-1);
  if ((fault.phase && *fault.phase != phase_) || fault.chance == kPast || fault.chance-- > 0) {
    return false;
  }
  happened_.push_back(fault.kind);
  return true;
}

bool FaultInjection::AnyHappens(FaultKind kind) {
  bool happens = false;
  for (Fault& fault : faults_) {
    happens = (fault.kind == kind && Happens(fault)) || happens;
  }
  return happens;
}

void FaultInjection::CountChances(const FrameOnWire& frame) {
  for (std::size_t kind = 0; kind < kFaultKinds; ++kind) {
    chances_[kind] += Concerns(static_cast<FaultKind>(kind), frame) ? 1 : 0;
  }
}

bool FaultInjection::Concerns(FaultKind kind, const FrameOnWire& frame) const {
  const bool to_tester = frame.direction == Direction::kToTester;
  const bool is_plain = surroundings_.form == TransportForm::kPlainCan;
  const unsigned type = frame.data.front() >> 4U;
  switch (kind) {
    case FaultKind::kBadCell:
    case FaultKind::kUnseenBadCell:
    case FaultKind::kThrowingHandler:
    case FaultKind::kThrowingKey:
    case FaultKind::kHangingKey:
    case FaultKind::kThrowingBackup:
    case FaultKind::kCancel:
      return false;
    case FaultKind::kNegativeResponse:
    case FaultKind::kEndlessPending:
    case FaultKind::kEndlessReplies:
    case FaultKind::kStray:
      return to_tester;
    case FaultKind::kWrongSequence:
      return is_plain ? type == 2 : frame.data.front() != kAcknowledgement;
    case FaultKind::kSeenBits:
      return !is_plain && frame.data.front() != kAcknowledgement;
    case FaultKind::kHurtBlock:
      return !to_tester && service_ == kDownload &&
             (is_plain ? type == 2 && frame.data.size() > 1 : begins_request_);
    case FaultKind::kWait:
      return is_plain && to_tester && type == 3;
    case FaultKind::kBusy:
      return begins_request_;
    case FaultKind::kNoise:
    case FaultKind::kPause:
      return surroundings_.form == TransportForm::kKLine && to_tester && frame.data.size() > 1;
    default:
      return true;
  }
}

std::vector<FrameOnWire> FaultInjection::Apply(const Fault& fault, FrameOnWire frame) {
  const bool is_gateway = surroundings_.form == TransportForm::kGateway;
  switch (fault.kind) {
    case FaultKind::kLostFrame:
      return {};
    case FaultKind::kDoubledFrame:
      return {frame, Later(frame, microseconds(fault.detail % 50'000))};
    case FaultKind::kDelayedFrame:
      return {Later(std::move(frame), milliseconds(5 + fault.detail % 3000))};
    case FaultKind::kOvertakenFrame:
      return {Later(std::move(frame), microseconds(300 + fault.detail % 2000))};
    case FaultKind::kTruncatedFrame:
      return AsRead(Truncated(std::move(frame), fault.detail));
    case FaultKind::kFlippedBits:
      return AsRead(Flipped(std::move(frame), fault.detail));
    case FaultKind::kWrongSequence:
      return AsRead(Misnumbered(std::move(frame), fault.detail));
    case FaultKind::kSeenBits:
      return AsRead(FlippedVisibly(frame, fault.detail, is_gateway && BeginsPieces(frame.data)));
    case FaultKind::kHurtBlock:
      if (surroundings_.form != TransportForm::kPlainCan) {
        surroundings_.refuse_next(kBlockChecksumError);
        return {frame};
      }
      frame.data.at(1) ^= static_cast<std::uint8_t>(1U << fault.detail % 8);
      return {frame};
    case FaultKind::kWait: {
      FrameOnWire wait = frame;
      wait.data.front() = 0x31;
      return {wait, Later(std::move(frame), milliseconds(fault.detail % 900))};
    }
    case FaultKind::kBusy:
      surroundings_.refuse_next(kBusyRepeatRequest);
      return {frame};
    case FaultKind::kStray:
      return {Stray(frame, fault.detail), frame};
    case FaultKind::kNoise:
      frame.data.insert(frame.data.begin(), static_cast<std::uint8_t>(fault.detail));
      return AsRead(frame);
    case FaultKind::kPause:
      return WithPause(frame, 1 + fault.detail % (frame.data.size() - 1));
    case FaultKind::kNegativeResponse:
      frame.data = NegativeResponse(static_cast<std::uint8_t>(fault.detail));
      return {frame};
    case FaultKind::kEndlessPending:
      frame.data = NegativeResponse(kResponsePending);
      return Endless(frame, milliseconds(200));
    case FaultKind::kEndlessReplies:
      return Endless(frame, milliseconds(20));
    case FaultKind::kSilence:
      silent_ = true;
      return {};
    case FaultKind::kReset:
      surroundings_.reset_ecu();
      return {frame};
    case FaultKind::kBusError:
      throw host::BusError("the adapter is gone");
    default:
      return {frame};
  }
}

Bytes FaultInjection::NegativeResponse(std::uint8_t code) const {
  Bytes response{0x7F, service_, code};
  if (surroundings_.form == TransportForm::kPlainCan) {
    response.insert(response.begin(), static_cast<std::uint8_t>(response.size()));
    response.resize(8, 0xAA);
    return response;
  }
  Bytes message = host::EncodeKMessage(
      {.target = kTester, .source = surroundings_.address, .data = std::move(response)});
  if (surroundings_.form == TransportForm::kGateway) {
    message.insert(message.begin(), 1);
  }
  return message;
}

/// On a K line, what is late holds up what comes after it: it is one wire.
void FaultInjection::KeepOrder(std::vector<FrameOnWire>& frames) {
  if (surroundings_.form != TransportForm::kKLine) {
    return;
  }
  for (FrameOnWire& frame : frames) {
    host::Duration& last = last_arrival_[frame.direction == Direction::kToEcu ? 0 : 1];
    last = frame.at = std::max(frame.at, last);
  }
}

/// As the tester's adapter reads a message of a K line, which it may take for several, or for
/// parts.
std::vector<FrameOnWire> FaultInjection::AsRead(const FrameOnWire& frame) const {
  if (surroundings_.form != TransportForm::kKLine || frame.direction == Direction::kToEcu) {
    return {frame};
  }
  host::KLineReceiver receiver;
  std::vector<FrameOnWire> read;
  for (Bytes& message : receiver.Take(frame.data)) {
    read.push_back({frame.direction, frame.at, std::move(message)});
  }
  if (receiver.InMessage()) {
    read.push_back({frame.direction, frame.at, receiver.OnSilence()});
  }
  return read;
}

std::vector<FrameOnWire> FaultInjection::WithPause(const FrameOnWire& frame,
                                                   std::size_t first_part) const {
  const auto cut = frame.data.begin() + static_cast<std::ptrdiff_t>(first_part);
  FrameOnWire rest = Later(frame, milliseconds(150));
  rest.data.assign(cut, frame.data.end());
  std::vector<FrameOnWire> read =
      AsRead({frame.direction, frame.at, Bytes(frame.data.begin(), cut)});
  for (FrameOnWire& part : AsRead(rest)) {
    read.push_back(std::move(part));
  }
  return read;
}

/// A frame that answers nothing that was asked for, sent by whom it may concern.
FrameOnWire FaultInjection::Stray(FrameOnWire frame, std::uint32_t detail) const {
  const std::array<Bytes, 5> can = {Bytes{0x01, 0x7E}, Bytes{0x30, 0x01, 0x00},
                                    Bytes{0x2A, 1, 2, 3, 4, 5, 6, 7}, Bytes{0x03, 0x7F, 0x3E, 0x12},
                                    Bytes{0x10, 0x0A, 0x59, 2, 1, 0, 0, 0}};
  switch (surroundings_.form) {
    case TransportForm::kPlainCan:
      frame.data = can[detail % can.size()];
      break;
    case TransportForm::kGateway:
      frame.data = {kAcknowledgement};
      break;
    default:
      frame.data = host::EncodeKMessage({.target = kTester, .source = 0x99, .data = {0x7E}});
  }
  return frame;
}

bool FaultInjection::BeginsPieces(ByteView data) const {
  const std::uint8_t target = data.size() < 5 ? 0 : data[2];
  const std::uint8_t source = data.size() < 5 ? 0 : data[3];
  return (target == surroundings_.address && source == kTester) ||
         (target == kTester && source == surroundings_.address);
}

void FaultInjection::NoteService(const FrameOnWire& frame) {
  const ByteView data = frame.data;
  begins_request_ = false;
  if (frame.direction != Direction::kToEcu || data.size() < 5) {
    return;
  }
  switch (surroundings_.form) {
    case TransportForm::kPlainCan:
      begins_request_ = data[0] < 0x20;
      service_ = !begins_request_ ? service_ : data[0] < 0x10 ? data[1] : data[2];
      return;
    case TransportForm::kGateway:
      begins_request_ = BeginsPieces(data);
      service_ = !begins_request_                     ? service_
                 : data[1] != 0x80 || data.size() < 6 ? data[4]
                                                      : data[5];
      return;
    default:
      begins_request_ = true;
      service_ = data[0] != 0x80 ? data[3] : data[4];
  }
}

}  // namespace quillmark::campaign
