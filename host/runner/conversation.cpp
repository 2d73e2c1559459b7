// SPDX-License-Identifier: MIT
#include "host/runner/conversation.h"

#include <algorithm>
#include <utility>

#include "host/services/response_code.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// How often a host is asked whether to stop, and for how long the answer to what was sent is still
/// awaited then, so that a request in progress comes to its end where the ECU is well.
constexpr milliseconds kStopInterval{100};
constexpr milliseconds kStopGrace{1000};

/// A K line on which something went wrong is quiet once it has been silent for so long.
constexpr milliseconds kQuietLine{300};

/// A babbling node must not hold the tester up.
constexpr int kMostFramesAtOnce = 1000;

/// ISO 15765-2: 0 to 0x7F are milliseconds, 0xF1 to 0xF9 hundreds of microseconds, for which a
/// tester's clock is too coarse; what is reserved means the longest.
milliseconds SeparationTime(std::uint8_t code) {
  constexpr milliseconds kLongest{0x7F};
  if (code >= 0xF1 && code <= 0xF9) {
    return milliseconds(1);
  }
  return std::min(milliseconds(code), kLongest);
}

bool IsConsecutiveFrame(TransportForm form, ByteView frame) {
  return form == TransportForm::kPlainCan && frame[0] >> 4U == 2;
}

/// A document writes the coded separation time as if it were milliseconds.
milliseconds TimeOfWait(TransportForm form, milliseconds time) {
  const bool is_code =
      form == TransportForm::kPlainCan && time >= milliseconds(0xF1) && time <= milliseconds(0xF9);
  return is_code ? milliseconds(1) : time;
}

std::string ExpectedText(const Step& step) {
  return step.expected.empty() ? "" : ", expected " + step.expected;
}

}  // namespace

void Conversation::BeginTry(int number) {
  try_number_ = number;
  requests_ = RequestReader(form_);
  BeginAnswer();
  doubt_.clear();
}

void Conversation::BeginAnswer() {
  end_ = {};
  reply_.Begin();
  was_pending_ = false;
  suspect_.clear();
}

bool Conversation::Execute(const Step& step) {
  switch (step.kind) {
    case StepKind::kSend:
      return Send(step);
    case StepKind::kReceive:
      return Receive(step);
    case StepKind::kWait:
      bus_.Wait(TimeOfWait(form_, step.time));
      return true;
    default:
      bus_.Break(step.time);
      return true;
  }
}

Bytes Conversation::Answer() const {
  return end_.frame.empty() ? reply_.Answer() : ServiceBytesOf(form_, end_.frame);
}

bool Conversation::Send(const Step& step) {
  if (requests_.BeginsRequest(step.frame) && stop_requested_ && stop_requested_()) {
    return End(RunStatus::kStopped, "stopped before this request");
  }
  if (turn_is_ours_ && !LookAtWhatArrived(step)) {
    return false;
  }
  turn_is_ours_ = false;
  const bool is_consecutive = IsConsecutiveFrame(form_, step.frame);
  if (is_consecutive) {
    KeepSeparationTime();
  }
  requests_.OnSent(step.frame);
  try {
    bus_.Send(step.frame);
  } catch (const DoubtfulFrame& doubt) {
    doubt_ = doubt.what();
  }
  if (is_consecutive) {
    last_consecutive_ = bus_.Now();
  }
  return true;
}

void Conversation::KeepSeparationTime() {
  if (separation_time_ == 0) {
    return;
  }
  const Duration left = last_consecutive_ + SeparationTime(separation_time_) - bus_.Now();
  if (left > Duration::zero()) {
    bus_.Wait(std::chrono::ceil<milliseconds>(left));
  }
}

bool Conversation::LookAtWhatArrived(const Step& step) {
  for (int frames = 0; frames < kMostFramesAtOnce; ++frames) {
    std::optional<Bytes> frame = bus_.Receive(milliseconds(0));
    if (!frame) {
      return true;
    }
    received_ = HexOf(*frame);
    const bool refuses_this = requests_.Unfinished() && reply_.RefusesRequest(*frame);
    if (!(refuses_this ? OnEarlyRefusal(step, std::move(*frame)) : PassOver(std::move(*frame)))) {
      return false;
    }
  }
  return true;
}

bool Conversation::RefusesLastRequest(ByteView frame) {
  const std::optional<std::uint8_t> code = NegativeResponseCodeOf(form_, frame);
  if (!code || *code == kResponsePending || last_.bytes.empty() ||
      ServiceBytesOf(form_, frame)[1] != last_.bytes[0]) {
    return false;
  }
  if (try_number_ > 1 && last_.bytes[0] == requests_.Service()) {
    return false;
  }
  return last_.answers_left-- <= 0;
}

bool Conversation::Receive(const Step& step) {
  turn_is_ours_ = true;
  const Duration now = bus_.Now();
  Patience patience{.until = now + timing_.p2,
                    .timeout = timing_.p2,
                    .pending_until = now + timing_.pending_limit};
  for (;;) {
    std::optional<Bytes> frame = NextFrame(patience.until);
    if (stop_by_ && bus_.Now() >= *stop_by_) {
      return End(RunStatus::kStopped, "stopped while the answer was awaited");
    }
    if (!frame) {
      return EndInSilence(step, patience);
    }
    received_ = HexOf(*frame);
    const FrameRole role = reply_.Take(*frame, received_, step.expected);
    if (role == FrameRole::kExpected) {
      if (requests_.Unfinished() && form_ == TransportForm::kPlainCan && frame->size() >= 3) {
        separation_time_ = (*frame)[2];
      }
      return true;
    }
    if (!OnOtherFrame(step, std::move(*frame), role, patience)) {
      return false;
    }
    NoticeStop();
  }
}

bool Conversation::OnOtherFrame(const Step& step, Bytes frame, FrameRole role, Patience& patience) {
  switch (role) {
    case FrameRole::kPending:
      return OnPending(step, std::move(frame), patience);
    case FrameRole::kWait:
      return OnWait(step, std::move(frame), patience);
    case FrameRole::kOverflow:
      return End(RunStatus::kUnexpectedFrame,
                 "the ECU has no room for a request of this length (flow status overflow)",
                 std::move(frame));
    case FrameRole::kFlowControl:
      end_.flow_control = FlowControl{frame[1], frame[2]};
      return End(RunStatus::kFlowControl, "received " + received_ + ExpectedText(step),
                 std::move(frame));
    case FrameRole::kEarlyRefusal:
      return OnEarlyRefusal(step, std::move(frame));
    case FrameRole::kSuspect:
      damage_ = reply_.damage();
      suspect_ = std::move(frame);
      return true;
    case FrameRole::kDamaged:
      if (form_ == TransportForm::kKLine) {
        AwaitQuietLine();
      }
      return End(RunStatus::kDamagedReply,
                 "received " + received_ + ExpectedText(step) + ": " + std::string(reply_.damage()),
                 std::move(frame));
    case FrameRole::kForeign:
      return PassOver(std::move(frame));
    default:
      return End(RunStatus::kUnexpectedFrame, "received " + received_ + ExpectedText(step),
                 std::move(frame));
  }
}

bool Conversation::OnPending(const Step& step, Bytes frame, Patience& patience) {
  was_pending_ = true;
  const Duration now = bus_.Now();
  if (patience.pending++ >= timing_.max_pending || now >= patience.pending_until) {
    return End(RunStatus::kPendingTooLong, "received " + received_ + ExpectedText(step),
               std::move(frame));
  }
  patience.timeout = timing_.p2_star;
  patience.until = std::min(now + timing_.p2_star, patience.pending_until);
  patience.pending_frame = std::move(frame);
  return true;
}

bool Conversation::OnWait(const Step& step, Bytes frame, Patience& patience) {
  if (patience.waits++ >= timing_.max_wait_frames) {
    return End(
        RunStatus::kPendingTooLong,
        "the ECU asked to wait " + std::to_string(patience.waits) + " times" + ExpectedText(step),
        std::move(frame));
  }
  patience.until = bus_.Now() + timing_.p2;
  return true;
}

/// An answer that comes before the request is sent to its end is one to an earlier try, or to the
/// request before, where that is of the same service. Otherwise the ECU has not waited for the
/// rest.
bool Conversation::OnEarlyRefusal(const Step& step, Bytes frame) {
  const bool may_be_of_last = !last_.bytes.empty() && last_.bytes[0] == requests_.Service();
  if (try_number_ > 1 || may_be_of_last) {
    return PassOver(std::move(frame));
  }
  return End(RunStatus::kUnexpectedFrame, "received " + received_ + ExpectedText(step),
             std::move(frame));
}

bool Conversation::PassOver(Bytes frame) {
  if (RefusesLastRequest(frame)) {
    return End(RunStatus::kLateRefusal, "received " + received_ + " for the request before",
               std::move(frame));
  }
  ++passed_over_;
  last_passed_over_ = std::move(frame);
  return true;
}

std::optional<Bytes> Conversation::NextFrame(Duration until) {
  for (;;) {
    const Duration end = stop_by_ ? std::min(until, *stop_by_) : until;
    const Duration left = std::max(end - bus_.Now(), Duration::zero());
    const milliseconds timeout = std::chrono::ceil<milliseconds>(left);
    const milliseconds part = stop_requested_ ? std::min(timeout, kStopInterval) : timeout;
    std::optional<Bytes> frame = bus_.Receive(part);
    if (frame || part == timeout) {
      return frame;
    }
    NoticeStop();
  }
}

void Conversation::NoticeStop() {
  if (!stop_by_ && stop_requested_ && stop_requested_()) {
    stop_by_ = bus_.Now() + kStopGrace;
  }
}

void Conversation::AwaitQuietLine() {
  const Duration deadline = bus_.Now() + timing_.p2;
  while (bus_.Now() < deadline && bus_.Receive(kQuietLine)) {
    ++passed_over_;
  }
}

bool Conversation::EndInSilence(const Step& step, Patience& patience) {
  if (patience.until == patience.pending_until) {
    std::string reason = "received " + HexOf(patience.pending_frame) + ExpectedText(step);
    return End(RunStatus::kPendingTooLong, std::move(reason), std::move(patience.pending_frame));
  }
  if (!suspect_.empty()) {
    return End(RunStatus::kDamagedReply,
               "received " + HexOf(suspect_) + ExpectedText(step) + ": " + damage_, suspect_);
  }
  std::string reason =
      "no frame within " + std::to_string(patience.timeout.count()) + " ms" + ExpectedText(step);
  if (!last_passed_over_.empty()) {
    reason += "; passed over " + HexOf(last_passed_over_);
  }
  if (is_doubtful()) {
    reason = doubt_ + "; " + reason;
  }
  return End(RunStatus::kSilence, std::move(reason));
}

bool Conversation::End(RunStatus status, std::string reason, Bytes frame) {
  end_.status = status;
  end_.reason = std::move(reason);
  end_.frame = std::move(frame);
  return false;
}

}  // namespace quillmark::host
