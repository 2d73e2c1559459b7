// SPDX-License-Identifier: MIT
#include "tests/host/conformance/flawed_runner.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "quillmark/host/bytes.h"
#include "quillmark/request_document.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

constexpr std::uint8_t kPending = 0x78;

struct Failure {
  std::size_t step = 0;
  std::string reason{};
  Bytes frame{};
  bool is_silence = false;
  bool is_refusal = false;
};

Bytes Part(const Bytes& bytes, std::size_t start, std::size_t count) {
  const std::size_t begin = std::min(start, bytes.size());
  const std::size_t end = std::min(begin + count, bytes.size());
  return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
          bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

bool ChecksumIsRight(const Bytes& message) {
  return (std::accumulate(message.begin(), message.end() - 1, 0U) & 0xFFU) == message.back();
}

class FlawedRun {
 public:
  FlawedRun(const RunnerTask& task, const RunnerTiming& timing, Flaw flaw)
      : task_(task),
        bus_(task.bus),
        timing_(timing),
        flaw_(flaw),
        request_(ReadRequestDocument(task.document)) {}

  void Run() {
    const auto was_run = [](const Step& step) { return step.received || step.failure; };
    if (!Has(Flaw::kRunsAgain) &&
        std::any_of(request_.steps.begin(), request_.steps.end(), was_run)) {
      throw std::runtime_error("the document has been run");
    }
    Select();
    for (std::size_t at = 0; at < request_.steps.size();) {
      const std::size_t end = EndOfRequest(at);
      if (!RunRequest(at, end)) {
        return;
      }
      at = end;
    }
  }

 private:
  [[nodiscard]] bool Has(Flaw flaw) const { return flaw_ == flaw; }
  [[nodiscard]] bool IsPlain() const { return task_.form == TransportForm::kPlainCan; }
  [[nodiscard]] bool IsGateway() const { return task_.form == TransportForm::kGateway; }

  void Select() {
    Exchange exchange{task_.form, request_.receive_identifier, request_.send_identifier};
    if (Has(Flaw::kCutsIdentifiers)) {
      exchange.receive &= 0x7FFU;
    }
    if (Has(Flaw::kSwapsIdentifiers)) {
      std::swap(exchange.receive, exchange.send);
    }
    if (Has(Flaw::kKnowsOneLine) && IsGateway()) {
      exchange.send = 13;
    }
    bus_.Select(exchange);
  }

  /// How many frames a request has that begins with this one; 0 if none does.
  [[nodiscard]] std::size_t FramesOfRequest(const Bytes& frame) const {
    if (IsPlain()) {
      const std::size_t length = (frame[0] & 0x0FU) << 8U | frame[1];
      return frame[0] >> 4U == 0 ? 1 : frame[0] >> 4U == 1 ? 1 + (length - 6 + 6) / 7 : 0;
    }
    return IsGateway() ? (frame[0] == 0x81 ? 0 : frame[0]) : 1;
  }

  [[nodiscard]] std::size_t EndOfRequest(std::size_t at) const {
    std::size_t left = 0;
    bool has_begun = false;
    for (; at < request_.steps.size(); ++at) {
      const Step& step = request_.steps[at];
      if (step.kind == StepKind::kBreak && has_begun) {
        return at;
      }
      if (step.kind != StepKind::kSend) {
        continue;
      }
      if (left > 0) {
        left -= IsPlain() && step.frame[0] >> 4U != 2 ? 0 : 1;
        continue;
      }
      const std::size_t frames = FramesOfRequest(step.frame);
      if (frames > 0 && has_begun) {
        return at;
      }
      if (frames > 0) {
        has_begun = true;
        left = frames - 1;
      }
    }
    return at;
  }

  bool RunRequest(std::size_t begin, std::size_t end) {
    const int tries = Has(Flaw::kNeverRepeats)      ? 1
                      : Has(Flaw::kRepeatsTooOften) ? task_.tries + (task_.tries > 1 ? 1 : 0)
                                                    : task_.tries;
    std::optional<Failure> failure;
    int number = 1;
    for (;; ++number) {
      answers_.assign(request_.steps.size(), std::nullopt);
      failure = TryOnce(begin, end);
      if (!failure || !failure->is_silence || number >= tries) {
        break;
      }
    }
    if (!failure) {
      AwaitOtherAnswers(number - 1);
    }
    for (std::size_t at = begin; at < end; ++at) {
      if (answers_[at]) {
        Write(at, "d", *answers_[at]);
      }
    }
    if (!failure) {
      last_service_ = service_;
      return true;
    }
    const bool has_frame =
        !failure->frame.empty() || (failure->is_silence && Has(Flaw::kWritesAnEmptyFrame));
    if (has_frame && !Has(Flaw::kLeavesOutTheLastFrame)) {
      Write(failure->step, "d", failure->frame);
    }
    request_.steps[failure->step].Fail(failure->reason);
    return failure->is_refusal && Has(Flaw::kGoesOnBehindARefusal);
  }

  void Write(std::size_t at, std::string_view name, const Bytes& frame) {
    std::string text = HexOf(frame);
    if (Has(Flaw::kWritesLowerCase)) {
      std::transform(text.begin(), text.end(), text.begin(),
                     [](unsigned char digit) { return static_cast<char>(std::tolower(digit)); });
    }
    const auto element = task_.document.createElement(name);
    element->setText(text);
    request_.steps[at].element->appendChild(element);
  }

  void AwaitOtherAnswers(int missing) {
    if (Has(Flaw::kAwaitsOneAnswer)) {
      return;
    }
    const milliseconds silence = Has(Flaw::kAwaitsNoSilence) ? timing_.p2 * 3 / 4 : timing_.p2;
    while (missing > 0 && bus_.Receive(silence)) {
      --missing;
    }
  }

  std::optional<Failure> TryOnce(std::size_t begin, std::size_t end) {
    has_begun_ = false;
    left_ = 0;
    separation_ = milliseconds(0);
    answer_.clear();
    answer_left_ = 0;
    for (std::size_t at = begin; at < end; ++at) {
      const Step& step = request_.steps[at];
      std::optional<Failure> failure;
      switch (step.kind) {
        case StepKind::kSend:
          failure = Send(step.frame, at);
          break;
        case StepKind::kReceive:
          failure = Receive(step, at);
          break;
        case StepKind::kWait:
          Wait(step.time);
          break;
        default:
          bus_.Break(Has(Flaw::kBreaksTooLong) ? 4 * step.time : step.time);
      }
      if (failure) {
        return failure;
      }
    }
    return std::nullopt;
  }

  void Wait(milliseconds time) {
    const bool is_code = IsPlain() && time >= milliseconds(0xF1) && time <= milliseconds(0xF9);
    const bool is_cut = is_code && !Has(Flaw::kTakesMicrosecondsForMilliseconds);
    if (!Has(Flaw::kSkipsWaits)) {
      bus_.Wait(is_cut ? milliseconds(1) : time);
    }
  }

  std::optional<Failure> Send(const Bytes& frame, std::size_t at) {
    if (!has_begun_) {
      if (IsToStop()) {
        return Failure{at, "stopped"};
      }
      if (auto failure = LookAtWhatArrived(at)) {
        return failure;
      }
      BeginRequest(frame);
    } else if (left_ > 0) {
      --left_;
      if (Has(Flaw::kStopsWithinARequest) && IsToStop()) {
        return Failure{at, "stopped"};
      }
      bus_.Wait(separation_);
    }
    bus_.Send(frame);
    if (Has(Flaw::kAcknowledgesTwice) && has_begun_ && FramesOfRequest(frame) == 0 && left_ == 0 &&
        answer_left_ > 0) {
      bus_.Send(frame);
    }
    if (Has(Flaw::kKeepsTheSessionAlive)) {
      bus_.Send(Bytes{0x01, 0x3E});
    }
    return std::nullopt;
  }

  [[nodiscard]] bool IsToStop() const { return !Has(Flaw::kNeverStops) && task_.stop_requested(); }

  std::optional<Failure> LookAtWhatArrived(std::size_t at) {
    if (Has(Flaw::kTakesLateAnswers)) {
      return std::nullopt;
    }
    while (const std::optional<Bytes> frame = bus_.Receive(milliseconds(0))) {
      const Bytes data = DataOf(*frame);
      const bool is_refusal = data.size() == 3 && data[0] == 0x7F && data[1] == last_service_ &&
                              (data[2] != kPending || Has(Flaw::kTakesLatePendingForARefusal));
      if (is_refusal && last_service_ != 0 && !Has(Flaw::kIgnoresLateRefusals)) {
        return Failure{at, "refused late"};
      }
    }
    return std::nullopt;
  }

  void BeginRequest(const Bytes& frame) {
    has_begun_ = true;
    left_ = FramesOfRequest(frame) - 1;
    if (!IsPlain()) {
      ecu_ = frame[IsGateway() ? 2 : 1];
    }
    service_ = DataOf(frame).at(0);
    request_until_ = bus_.Now() + timing_.p2;
  }

  /// The service bytes of a first frame, as far as it has them.
  [[nodiscard]] Bytes DataOf(const Bytes& frame) const {
    if (IsPlain()) {
      return frame[0] >> 4U == 0   ? Part(frame, 1, frame[0])
             : frame[0] >> 4U == 1 ? Part(frame, 2, 6)
                                   : Bytes{};
    }
    const Bytes message = IsGateway() ? Part(frame, 1, 7) : frame;
    if (message.size() < 4) {
      return {};
    }
    const std::size_t length = message[0] & 0x3FU;
    return length > 0 ? Part(message, 3, length) : Part(message, 4, message[3]);
  }

  struct Patience {
    Duration until{};
    Duration pending_until{};
    int pendings = 0;
    int waits = 0;
  };

  std::optional<Failure> Receive(const Step& step, std::size_t at) {
    const bool in_request = left_ > 0;
    const milliseconds p2 = Has(Flaw::kGivesUpEarly)  ? timing_.p2 / 2
                            : Has(Flaw::kGivesUpLate) ? timing_.p2 * 4
                                                      : timing_.p2;
    Patience wait{.until = Has(Flaw::kCountsP2FromTheRequest) ? request_until_ : bus_.Now() + p2,
                  .pending_until = bus_.Now() + timing_.pending_limit};
    for (;;) {
      const std::optional<Bytes> frame = NextFrame(wait.until, in_request);
      if (!frame) {
        return Failure{.step = at, .reason = "silence", .is_silence = true};
      }
      bool is_taken = false;
      auto failure = in_request ? TakeControl(step, at, *frame, wait, is_taken)
                                : TakeAnswer(step, at, *frame, wait, is_taken);
      if (failure) {
        return failure;
      }
      if (is_taken) {
        answers_[at] = *frame;
        return std::nullopt;
      }
    }
  }

  /// Nothing at the end of the time, or when the run is to stop.
  std::optional<Bytes> NextFrame(Duration until, bool in_request) {
    constexpr milliseconds kSlice{100};
    for (;;) {
      const auto left = std::chrono::ceil<milliseconds>(until - bus_.Now());
      if (left <= milliseconds(0)) {
        return std::nullopt;
      }
      if (auto frame = bus_.Receive(std::min(left, kSlice))) {
        return frame;
      }
      if (!in_request && IsToStop()) {
        return std::nullopt;
      }
    }
  }

  std::optional<Failure> PassOver(std::size_t at, const Bytes& frame, Patience& wait) {
    if (Has(Flaw::kWaitsLongerForForeignFrames)) {
      wait.until = bus_.Now() + timing_.p2;
    }
    return Has(Flaw::kFailsAtForeignFrames) ? std::optional(Failure{at, "unexpected", frame})
                                            : std::nullopt;
  }

  std::optional<Failure> TakeControl(const Step& step, std::size_t at, const Bytes& frame,
                                     Patience& wait, bool& is_taken) {
    if (step.Expects(frame)) {
      is_taken = true;
      if (IsPlain() && !Has(Flaw::kKeepsNoSeparationTime)) {
        const bool is_cut = frame[2] >= 0xF1 && !Has(Flaw::kTakesMicrosecondsForMilliseconds);
        separation_ = milliseconds(is_cut ? 1 : frame[2]);
      }
      return std::nullopt;
    }
    if (!IsPlain() || frame[0] >> 4U != 3) {
      return PassOver(at, frame, wait);
    }
    if (frame[0] == 0x32 && Has(Flaw::kWaitsOnAtOverflow)) {
      return std::nullopt;
    }
    const bool is_too_much = wait.waits++ >= timing_.max_wait_frames && !Has(Flaw::kLimitsNoWaits);
    if (frame[0] != 0x31 || is_too_much || Has(Flaw::kFailsAtWait)) {
      return Failure{at, "flow status", frame};
    }
    wait.until = request_until_ = bus_.Now() + timing_.p2;
    return std::nullopt;
  }

  std::optional<Failure> TakeAnswer(const Step& step, std::size_t at, const Bytes& frame,
                                    Patience& wait, bool& is_taken) {
    if (answer_left_ > 0) {
      return TakeFurther(step, at, frame, wait, is_taken);
    }
    if (!IsSound(frame)) {
      if (task_.form == TransportForm::kKLine && !Has(Flaw::kSendsIntoNoise)) {
        while (bus_.Receive(milliseconds(200))) {
        }
      }
      return Failure{at, "damaged", frame};
    }
    const Bytes data = DataOf(frame);
    const Bytes message = IsGateway() ? Part(frame, 1, 7) : frame;
    const bool is_ours = !data.empty() && (IsPlain() || (message[1] == 0xF1 && message[2] == ecu_));
    const bool is_refusal = data.size() >= 3 && data[0] == 0x7F && data[1] == service_;
    if (!is_ours || (data[0] != service_ + 0x40 && !is_refusal)) {
      return PassOver(at, frame, wait);
    }
    if (is_refusal && data[2] == kPending && !Has(Flaw::kTakesPendingForARefusal)) {
      return OnPending(at, frame, wait);
    }
    if (!step.Expects(frame)) {
      return Failure{.step = at, .reason = "refused", .frame = frame, .is_refusal = is_refusal};
    }
    is_taken = true;
    BeginAnswer(frame);
    return std::nullopt;
  }

  std::optional<Failure> OnPending(std::size_t at, const Bytes& frame, Patience& wait) {
    const bool is_too_much =
        wait.pendings++ >= timing_.max_pending && !Has(Flaw::kLimitsNoPendings);
    const bool is_too_long = bus_.Now() >= wait.pending_until && !Has(Flaw::kLimitsNoPendingTime);
    if (is_too_much || is_too_long) {
      return Failure{at, "pending", frame};
    }
    wait.until = request_until_ =
        bus_.Now() + (Has(Flaw::kKnowsNoP2Star) ? timing_.p2 : timing_.p2_star);
    return std::nullopt;
  }

  /// Of the only frame of a message, and of a K line's message.
  [[nodiscard]] bool IsSound(const Bytes& frame) const {
    if (Has(Flaw::kChecksNothing) || IsPlain() || (IsGateway() && frame[0] != 1)) {
      return true;
    }
    const Bytes message = IsGateway() ? Part(frame, 1, 7) : frame;
    return message.size() >= 5 && message.size() == (message[0] & 0x3FU) + 4U &&
           ChecksumIsRight(message);
  }

  void BeginAnswer(const Bytes& frame) {
    answer_ = IsGateway() ? Part(frame, 1, 7) : frame;
    if (IsPlain() && frame[0] >> 4U == 1) {
      answer_left_ = ((frame[0] & 0x0FU) << 8U | frame[1]) - 6U;
    } else if (IsGateway() && frame[0] > 1) {
      answer_left_ = (frame[1] & 0x3FU) + 4U - 7U;
    }
  }

  std::optional<Failure> TakeFurther(const Step& step, std::size_t at, const Bytes& frame,
                                     Patience& wait, bool& is_taken) {
    const bool is_repeated = IsPlain() && frame == LastFrameBefore(at);
    if (is_repeated && !Has(Flaw::kFailsAtRepeatedFrames)) {
      return std::nullopt;
    }
    if (IsPlain() && frame[0] >> 4U != 2 && !is_repeated) {
      return PassOver(at, frame, wait);
    }
    const std::size_t size = std::min<std::size_t>(answer_left_, IsPlain() ? 7 : 8);
    const bool is_whole = IsPlain() ? frame.size() > size : frame.size() == size;
    answer_.insert(answer_.end(), frame.begin(), frame.end());
    answer_left_ -= size;
    const bool is_sound = is_whole && (IsPlain() || answer_left_ > 0 || ChecksumIsRight(answer_));
    const bool is_next = step.Expects(frame) || Has(Flaw::kTakesFramesOutOfSequence);
    if (!is_next || (!is_sound && !Has(Flaw::kChecksNothing))) {
      return Failure{at, "damaged", frame};
    }
    is_taken = true;
    return std::nullopt;
  }

  /// The frame that was taken before the one for this step.
  [[nodiscard]] Bytes LastFrameBefore(std::size_t at) const {
    while (at-- > 0) {
      if (answers_[at]) {
        return *answers_[at];
      }
    }
    return {};
  }

  const RunnerTask& task_;
  Bus& bus_;
  const RunnerTiming& timing_;
  Flaw flaw_;
  RequestDocument request_;
  std::vector<std::optional<Bytes>> answers_;
  bool has_begun_ = false;
  std::size_t left_ = 0;
  milliseconds separation_{};
  Duration request_until_{};
  Bytes answer_;
  std::size_t answer_left_ = 0;
  std::uint8_t ecu_ = 0;
  std::uint8_t service_ = 0;
  std::uint8_t last_service_ = 0;
};

}  // namespace

RunnerUnderTest RunnerWith(Flaw flaw) {
  const RunnerTiming timing{.max_pending = 100, .pending_limit = std::chrono::seconds(20)};
  return {.run = [flaw, timing](const RunnerTask& task) { FlawedRun(task, timing, flaw).Run(); },
          .timing = timing,
          .can_stop = true,
          .can_repeat = true};
}

}  // namespace quillmark::host
