// SPDX-License-Identifier: MIT
#include "host/programmer/dialogue.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/programmer/failure.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// After a failure the session is closed, but nobody waits for an ECU that does not answer.
constexpr milliseconds kClosingLimit{2000};

RunnerTiming WithoutPatience(RunnerTiming timing) {
  timing.p2 = std::min(timing.p2, kClosingLimit);
  timing.pending_limit = std::min(timing.pending_limit, kClosingLimit);
  return timing;
}

}  // namespace

std::optional<Error> ErrorOf(const std::function<void()>& check) {
  try {
    check();
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

Dialogue::Dialogue(Platform& platform, std::shared_ptr<DiagOnCANReprog> reprog, Bus& bus,
                   const ProgrammerConfig& config, ProgressReporter& progress,
                   const SessionCallbacks& callbacks)
    : bus_(bus),
      config_(config),
      progress_(progress),
      callbacks_(callbacks),
      reprog_(std::move(reprog)),
      runner_(bus, config.form, config.timing),
      readings_(platform) {
  runner_.OnStopRequested([this] { return StopRequested(); });
  runner_.OnTryDone([this](const RequestTry& request_try) { return OnTry(request_try); });
}

void Dialogue::OnRequestDone(Runner::RequestDone request_done) {
  runner_.OnRequestDone(std::move(request_done));
}

void Dialogue::AskAboutBlocks(BlockUnanswered block_unanswered) {
  block_unanswered_ = std::move(block_unanswered);
}

bool Dialogue::StopRequested() const {
  return !is_closing_ && callbacks_.stop_requested && callbacks_.stop_requested();
}

RunOutcome Dialogue::Run(const Document& document) {
  TellDocument(document, nullptr);
  RunOutcome outcome = RunAside(document);
  TellDocument(document, &outcome);
  if (outcome.status == RunStatus::kStopped) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, std::nullopt));
  }
  return outcome;
}

RunOutcome Dialogue::RunAside(const Document& document) {
  RunOutcome outcome = runner_.Run(*document);
  last_request_ = bus_.Now();
  progress_.PassedOver(outcome.passed_over);
  return outcome;
}

void Dialogue::TellDocument(const Document& document, const RunOutcome* outcome) const {
  if (callbacks_.on_document) {
    callbacks_.on_document({progress_.phase(), *document, outcome});
  }
}

void Dialogue::Exchange(const Document& document, const CheckDocument& check) {
  const RunOutcome outcome = Run(document);
  Demand(outcome, ErrorOf([&] { check(document); }));
}

std::optional<RunOutcome> Dialogue::ExchangeUnless(Remedy remedy, const Document& document,
                                                   const CheckDocument& check) {
  RunOutcome outcome = Run(document);
  if (!outcome.complete() && remedy_ == remedy) {
    return outcome;
  }
  Demand(outcome, ErrorOf([&] { check(document); }));
  return std::nullopt;
}

void Dialogue::Demand(const RunOutcome& outcome, const std::optional<Error>& error) const {
  if (!outcome.complete() || error) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, error));
  }
}

NextMove Dialogue::OnTry(const RequestTry& request_try) {
  last_request_ = bus_.Now();
  remedy_ = Remedy::kNone;
  was_pending_ = request_try.was_pending;
  if (request_try.number == 1) {
    repetitions_ = 0;
  }
  if (request_try.status == RunStatus::kComplete) {
    const NextMove move = readings_.Judge(request_try);
    return move == NextMove::kRepeat ? Repeat() : move;
  }
  if (is_abandoned_) {
    return NextMove::kGoOn;
  }
  RequestKind kind = KindOf(request_try.request);
  if (kind == RequestKind::kStart && is_restart_) {
    kind = RequestKind::kRestart;
  }
  const Remedy remedy = RemedyFor(kind, request_try, repetitions_, config_.repetition, bus_.Now());
  switch (remedy) {
    case Remedy::kRepeat:
      ++repetitions_;
      return Repeat();
    case Remedy::kAskAgainSoon:
      bus_.Wait(config_.repetition.busy_interval);
      return Repeat();
    case Remedy::kReadBack:
      return OnBlockUnanswered(request_try);
    case Remedy::kAccept:
      return Accept(kind);
    default:
      remedy_ = remedy;
      return NextMove::kGoOn;
  }
}

NextMove Dialogue::OnBlockUnanswered(const RequestTry& request_try) {
  const int repetitions = repetitions_;
  const NextMove move = block_unanswered_ ? block_unanswered_(request_try) : NextMove::kGoOn;
  remedy_ = Remedy::kNone;
  repetitions_ = repetitions;
  if (move != NextMove::kRepeat) {
    return move;
  }
  return ++repetitions_ <= config_.repetition.most ? Repeat() : NextMove::kGoOn;
}

NextMove Dialogue::Repeat() {
  progress_.Repeated();
  return NextMove::kRepeat;
}

NextMove Dialogue::Accept(RequestKind kind) {
  if (kind == RequestKind::kLogRecord) {
    log_record_is_unanswered_ = true;
    Warn(
        "the ECU has not answered the log record, which is not sent twice: whether it is written "
        "is not known");
  } else {
    Warn("the ECU has not answered the end of the session, which counts as closed");
  }
  return NextMove::kAccept;
}

void Dialogue::RunRoutine(const Routine& routine) {
  start_was_unanswered_ = false;
  is_restart_ = false;
  for (int start = 0;; ++start) {
    const Document document = routine.start();
    const RunOutcome outcome = Run(document);
    if (remedy_ != Remedy::kPoll) {
      Demand(outcome, ErrorOf([&] { routine.check_start(document); }));
      break;
    }
    start_was_unanswered_ = true;
    const bool was_heard = was_pending_;
    const State state = AskFor(routine).state;
    if (state == State::kRunning || (was_heard && state == State::kFinished)) {
      break;
    }
    if (was_heard || start == config_.repetition.most) {
      throw ProgrammingError(ExchangeFailure(progress_.phase(), outcome, std::nullopt));
    }
    is_restart_ = true;
    progress_.Repeated();
  }
  Poll(routine);
  if (start_was_unanswered_) {
    AwaitQuiet(routine);
  }
}

Dialogue::Asked Dialogue::AskFor(const Routine& routine) {
  const Document document = routine.ask();
  Asked asked{.outcome = Run(document)};
  bool is_finished = false;
  asked.error = ErrorOf([&] { is_finished = routine.is_finished(document); });
  // D19.
  const bool was_answered =
      asked.outcome.complete() || asked.outcome.status == RunStatus::kUnexpectedFrame;
  if (was_answered && asked.outcome.response_code) {
    asked.state = State::kRefused;
  } else if (!was_answered || asked.error) {
    throw ProgrammingError(ExchangeFailure(progress_.phase(), asked.outcome, asked.error));
  } else if (is_finished) {
    asked.state = State::kFinished;
  }
  return asked;
}

void Dialogue::Poll(const Routine& routine) {
  const Duration deadline = bus_.Now() + config_.busy_limit;
  for (;;) {
    const Asked asked = AskFor(routine);
    if (asked.state == State::kFinished) {
      return;
    }
    if (asked.state == State::kRefused) {
      throw ProgrammingError(ExchangeFailure(progress_.phase(), asked.outcome, asked.error));
    }
    if (bus_.Now() >= deadline) {
      Fail(Cause::kStillBusy,
           "the ECU is still busy after " + std::to_string(config_.busy_limit.count()) + " ms");
    }
    Pause(config_.poll_interval);
  }
}

void Dialogue::AwaitQuiet(const Routine& routine) {
  while (!runner_.IsQuiet()) {
    Poll(routine);
  }
}

void Dialogue::Pause(milliseconds time) {
  const Duration end = bus_.Now() + time;
  for (Duration left = time; left > Duration::zero(); left = end - bus_.Now()) {
    bus_.Wait(std::min(std::chrono::ceil<milliseconds>(left), config_.tester_present_interval));
    KeepAlive();
  }
}

void Dialogue::KeepAlive() {
  if (is_open_ && bus_.Now() - last_request_ >= config_.tester_present_interval) {
    Exchange(reprog_->TesterPresent(), [](const Document&) {});
  }
}

void Dialogue::KeepAliveUnlessStopped() {
  if (StopRequested()) {
    Fail(Cause::kCancelled, "cancelled");
  }
  KeepAlive();
}

void Dialogue::SetOpen(bool open) {
  is_open_ = open;
  progress_.SetSessionOpen(open);
}

void Dialogue::Close() {
  is_closing_ = true;
  Exchange(reprog_->stopcomm(), [](const Document&) {});
  SetOpen(false);
}

void Dialogue::Abandon() noexcept {
  is_abandoned_ = true;
  runner_.SetTiming(WithoutPatience(config_.timing));
  try {
    Close();
  } catch (...) {
    // The host hears of what went wrong first, and that the session may still be open.
    is_open_ = false;  // as far as it can be closed from here
  }
}

void Dialogue::WarnOfBelievedBlocks() {
  if (readings_.believed() > 0) {
    Warn("the ECU's checksum of " + CountText(readings_.believed(), "block") +
         " is not the one expected; each was read twice and found alike");
  }
  readings_.Forget();
}

void Dialogue::Warn(const std::string& text) const {
  if (callbacks_.on_warning) {
    callbacks_.on_warning(text);
  }
}

void Dialogue::Fail(Cause cause, const std::string& text) const {
  Failure failure;
  failure.phase = progress_.phase();
  failure.cause = cause;
  failure.text = text;
  throw ProgrammingError(failure);
}

}  // namespace quillmark::host
