// SPDX-License-Identifier: MIT
#include "campaign/fault_injection.h"

#include <algorithm>
#include <array>
#include <utility>

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

/// The low half of the first byte: in every form a number or a length.
FrameOnWire Misnumbered(FrameOnWire frame, std::uint32_t detail) {
  std::uint8_t& first = frame.data.front();
  first = static_cast<std::uint8_t>((first & 0xF0U) | ((first + 1 + detail % 15) & 0x0FU));
  return frame;
}

/// Longer than the tester's patience.
std::vector<FrameOnWire> EndlessPending(const FrameOnWire& frame, const Bytes& pending) {
  std::vector<FrameOnWire> frames;
  for (int count = 0; count < 400; ++count) {
    frames.push_back({frame.direction, frame.at + milliseconds(200 * count), pending});
  }
  return frames;
}

}  // namespace

std::vector<FrameOnWire> FaultInjection::OnFrame(const FrameOnWire& frame) {
  NoteService(frame);
  std::vector<FrameOnWire> frames{frame};
  for (Fault& fault : faults_) {
    if (!frames.empty() && !frames.front().data.empty() && Concerns(fault.kind, frames.front()) &&
        Happens(fault)) {
      frames = Apply(fault, frames.front());
    }
  }
  return silent_ ? std::vector<FrameOnWire>{} : frames;
}

void FaultInjection::OnProgress(const host::Progress& progress) {
  phase_ = progress.phase;
  if (AnyHappens(FaultKind::kThrowingHandler)) {
    throw HostFailure();
  }
}

void FaultInjection::OnKey() {
  if (AnyHappens(FaultKind::kThrowingKey)) {
    throw HostFailure();
  }
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
  if (fault.phase != phase_ || fault.chance == kPast || fault.chance-- > 0) {
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

bool FaultInjection::Concerns(FaultKind kind, const FrameOnWire& frame) const {
  switch (kind) {
    case FaultKind::kBadCell:
    case FaultKind::kUnseenBadCell:
    case FaultKind::kThrowingHandler:
    case FaultKind::kThrowingKey:
    case FaultKind::kThrowingBackup:
    case FaultKind::kCancel:
      return false;
    case FaultKind::kNegativeResponse:
    case FaultKind::kEndlessPending:
      return frame.direction == Direction::kToTester;
    case FaultKind::kWrongSequence:
      return surroundings_.form == TransportForm::kPlainCan
                 ? frame.data.front() >> 4U == 2
                 : frame.data.front() != kAcknowledgement;
    default:
      return true;
  }
}

std::vector<FrameOnWire> FaultInjection::Apply(const Fault& fault, FrameOnWire frame) {
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
      return {Truncated(std::move(frame), fault.detail)};
    case FaultKind::kFlippedBits:
      return {Flipped(std::move(frame), fault.detail)};
    case FaultKind::kWrongSequence:
      return {Misnumbered(std::move(frame), fault.detail)};
    case FaultKind::kNegativeResponse:
      frame.data = NegativeResponse(static_cast<std::uint8_t>(fault.detail));
      return {frame};
    case FaultKind::kEndlessPending:
      return EndlessPending(frame, NegativeResponse(kResponsePending));
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

void FaultInjection::NoteService(const FrameOnWire& frame) {
  const ByteView data = frame.data;
  if (frame.direction != Direction::kToEcu || data.size() < 5) {
    return;
  }
  switch (surroundings_.form) {
    case TransportForm::kPlainCan:
      if (data[0] < 0x20) {
        service_ = data[0] < 0x10 ? data[1] : data[2];
      }
      return;
    case TransportForm::kGateway:
      if (data[3] == kTester) {
        service_ = data[1] != 0x80 || data.size() < 6 ? data[4] : data[5];
      }
      return;
    default:
      service_ = data[0] != 0x80 ? data[3] : data[4];
  }
}

}  // namespace quillmark::campaign
