// SPDX-License-Identifier: MIT
#include "quillmark/host/runner.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "host/runner/conversation.h"
#include "host/runner/message_reader.h"
#include "host/runner/request_document.h"

namespace quillmark::host {
namespace {

struct Callbacks {
  const Runner::StopRequested& stop_requested;
  const Runner::RequestDone& request_done;
  const Runner::TryDone& try_done;
};

/// One run of one document.
class Execution {
 public:
  Execution(Bus& bus, const RunnerTiming& timing, const Callbacks& callbacks, LastRequest& last,
            DOMDocument& document, TransportForm form)
      : bus_(bus),
        callbacks_(callbacks),
        last_(last),
        document_(document),
        request_(ReadNewRequestDocument(document)),
        exchange_(ExchangeOf(request_, form)),
        conversation_(bus, form, timing, callbacks.stop_requested, last) {}

  RunOutcome Run() {
    const Duration start = bus_.Now();
    for (std::size_t at = 0; at < request_.steps.size() && outcome_.complete();) {
      at = RunRequest(at);
    }
    if (outcome_.complete()) {
      outcome_.request = last_.bytes;
    }
    outcome_.passed_over = conversation_.passed_over();
    outcome_.elapsed = bus_.Now() - start;
    return std::move(outcome_);
  }

 private:
  struct ReceivedFrame {
    std::size_t at;
    std::string text;
  };

  /// What became of a request that was sent once, or of another answer to it.
  struct Attempt {
    TryEnd end{};
    /// The step behind the request, or the one that failed.
    std::size_t at = 0;
    /// The first step of the answer; nothing where the request was not sent to its end.
    std::optional<std::size_t> answer_at{};
    bool was_pending = false;
    std::vector<ReceivedFrame> received{};
    Bytes answer{};

    [[nodiscard]] bool WasAnswered() const {
      return end.status == RunStatus::kComplete || end.status == RunStatus::kUnexpectedFrame;
    }
  };

  /// Runs the request that begins with the step at `first`, as often as it is to be tried. Returns
  /// the step after it.
  std::size_t RunRequest(std::size_t first) {
    const Duration began = bus_.Now();
    std::string words;
    int answers = 0;
    for (int number = 1;; ++number) {
      conversation_.BeginTry(number);
      Attempt attempt = RunSteps({.at = first});
      answers += attempt.WasAnswered() ? 1 : 0;
      answers += AwaitOtherAnswers(number - answers, attempt);
      const NextMove move = Judge(number, began, attempt);
      if (move == NextMove::kReject) {
        Reject(attempt);
      }
      words += (words.empty() ? "" : ", ") + WordOf(attempt, move);
      if (move != NextMove::kRepeat) {
        if (number > 1 || move == NextMove::kAccept) {
          TellTries(first, words);
        }
        return Finish(attempt, move, number - answers);
      }
    }
  }

  /// Goes on with an attempt until the next request begins, the document ends or a step fails.
  Attempt RunSteps(Attempt attempt) {
    constexpr std::size_t kUsualFrames = 32;
    attempt.received.reserve(kUsualFrames);
    bool has_sent = attempt.answer_at.has_value();
    for (; attempt.at < request_.steps.size(); ++attempt.at) {
      const Step& step = request_.steps[attempt.at];
      if (has_sent && BeginsRequest(step)) {
        break;
      }
      has_sent = has_sent || step.kind == StepKind::kSend;
      if (step.kind == StepKind::kReceive && !attempt.answer_at &&
          !conversation_.requests().Unfinished()) {
        attempt.answer_at = attempt.at;
      }
      if (!Execute(step, attempt)) {
        break;
      }
    }
    attempt.was_pending = conversation_.was_pending();
    if (attempt.WasAnswered()) {
      attempt.answer = conversation_.Answer();
    }
    return attempt;
  }

  bool Execute(const Step& step, Attempt& attempt) {
    try {
      if (!is_selected_) {
        bus_.Select(exchange_);
        is_selected_ = true;
      }
      if (!conversation_.Execute(step)) {
        attempt.end = conversation_.end();
        return false;
      }
    } catch (const BusError& error) {
      attempt.end = {.status = RunStatus::kBusError, .reason = error.what()};
      return false;
    }
    if (step.kind == StepKind::kReceive) {
      attempt.received.push_back({attempt.at, std::move(conversation_.received())});
    }
    return true;
  }

  [[nodiscard]] bool BeginsRequest(const Step& step) const {
    return step.kind == StepKind::kBreak ||
           (step.kind == StepKind::kSend && conversation_.requests().BeginsRequest(step.frame));
  }

  /// The answers to the other tries of a request that was answered may be on their way, and would
  /// be taken for answers to the next request. The last complete one counts. Returns how many came.
  int AwaitOtherAnswers(int missing, Attempt& attempt) {
    int answers = 0;
    while (attempt.WasAnswered() && answers < missing) {
      conversation_.BeginAnswer();
      Attempt other = RunSteps({.at = *attempt.answer_at, .answer_at = attempt.answer_at});
      if (!other.WasAnswered()) {
        break;
      }
      ++answers;
      if (other.end.status == RunStatus::kComplete) {
        KeepFramesOfRequest(attempt, other);
        attempt = std::move(other);
      }
    }
    return answers;
  }

  /// Another answer comes without the flow controls and acknowledgements of the request.
  static void KeepFramesOfRequest(Attempt& from, Attempt& to) {
    const auto of_answer =
        std::find_if(from.received.begin(), from.received.end(),
                     [&](const ReceivedFrame& frame) { return frame.at >= *to.answer_at; });
    to.received.insert(to.received.begin(), std::make_move_iterator(from.received.begin()),
                       std::make_move_iterator(of_answer));
  }

  [[nodiscard]] NextMove Judge(int number, Duration began, const Attempt& attempt) const {
    const bool is_beyond_repetition = attempt.end.status == RunStatus::kBusError ||
                                      attempt.end.status == RunStatus::kStopped ||
                                      attempt.end.status == RunStatus::kLateRefusal;
    if (!callbacks_.try_done || is_beyond_repetition) {
      return NextMove::kGoOn;
    }
    const Bytes request = conversation_.requests().Request();
    return callbacks_.try_done({.status = attempt.end.status,
                                .number = number,
                                .began = began,
                                .request = request,
                                .sent_whole = attempt.answer_at.has_value(),
                                .was_pending = attempt.was_pending,
                                .answer = attempt.answer,
                                .response_code = ResponseCodeOf(attempt)});
  }

  static void Reject(Attempt& attempt) {
    attempt.end = {.status = RunStatus::kDamagedReply,
                   .reason = "the answer is not to be believed"};
    attempt.at = attempt.answer_at.value_or(attempt.at);
  }

  [[nodiscard]] std::optional<std::uint8_t> ResponseCodeOf(const Attempt& attempt) const {
    return attempt.end.frame.empty() ? std::nullopt
                                     : NegativeResponseCodeOf(exchange_.form, attempt.end.frame);
  }

  /// How a try ended, in a word.
  [[nodiscard]] std::string WordOf(const Attempt& attempt, NextMove move) const {
    if (move == NextMove::kAccept) {
      return "accepted";
    }
    switch (attempt.end.status) {
      case RunStatus::kComplete:
        return move == NextMove::kRepeat ? "doubted" : "ok";
      case RunStatus::kSilence:
        return "silence";
      case RunStatus::kDamagedReply:
        return "damaged";
      case RunStatus::kUnexpectedFrame:
      case RunStatus::kFlowControl:
        break;
      default:
        return "failed";
    }
    const std::optional<std::uint8_t> code = ResponseCodeOf(attempt);
    return code ? HexOf(Bytes{*code}) : "unexpected";
  }

  void TellTries(std::size_t first, const std::string& words) {
    while (request_.steps[first].kind != StepKind::kSend) {
      ++first;
    }
    const auto element = std::dynamic_pointer_cast<IXMLDOMElement>(request_.steps[first].element);
    element->setAttribute("tries", words);
  }

  /// Writes what was received into the document, and how the run failed. Gives the step behind the
  /// request.
  std::size_t Finish(const Attempt& attempt, NextMove move, int answers_left) {
    if (move == NextMove::kAccept) {
      RequestIsDone(answers_left);
      return BehindRequest(attempt.at);
    }
    for (const ReceivedFrame& frame : attempt.received) {
      AddText(frame.at, "d", frame.text);
    }
    if (attempt.end.status == RunStatus::kComplete) {
      RequestIsDone(answers_left);
    } else {
      Fail(attempt);
    }
    return attempt.at;
  }

  void RequestIsDone(int answers_left) {
    last_ = {conversation_.requests().Request(), answers_left};
    if (!last_.bytes.empty() && callbacks_.request_done) {
      callbacks_.request_done(last_.bytes);
    }
  }

  [[nodiscard]] std::size_t BehindRequest(std::size_t at) const {
    while (at < request_.steps.size() && !BeginsRequest(request_.steps[at])) {
      ++at;
    }
    return at;
  }

  void Fail(const Attempt& attempt) {
    const TryEnd& end = attempt.end;
    const bool is_own_answer = !end.frame.empty() && end.status != RunStatus::kLateRefusal;
    if (is_own_answer) {
      AddText(attempt.at, "d", HexOf(end.frame));
    }
    AddText(attempt.at, "e", end.reason);
    const TransportForm form = exchange_.form;
    outcome_.status = end.status == RunStatus::kSilence && conversation_.is_doubtful()
                          ? RunStatus::kBusError
                          : end.status;
    outcome_.step = attempt.at + 1;
    outcome_.reason = end.reason;
    outcome_.frame = end.frame;
    outcome_.response_code = ResponseCodeOf(attempt);
    outcome_.answer = ServiceBytesOf(form, end.frame);
    outcome_.expected =
        ServiceBytesOf(form, BytesOfHex(request_.steps[attempt.at].expected).value_or(Bytes{}));
    outcome_.flow_control = end.flow_control;
    const bool was_not_sent = attempt.end.status == RunStatus::kStopped &&
                              request_.steps[attempt.at].kind == StepKind::kSend;
    outcome_.stopped_within = attempt.end.status == RunStatus::kStopped && !was_not_sent;
    outcome_.request = was_not_sent || attempt.end.status == RunStatus::kLateRefusal
                           ? last_.bytes
                           : conversation_.requests().Request();
    last_ = {};
  }

  void AddText(std::size_t at, std::string_view name, const std::string& text) {
    const std::shared_ptr<IXMLDOMElement> element = document_.createElement(name);
    element->setText(text);
    request_.steps[at].element->appendChild(element);
  }

  Bus& bus_;
  Callbacks callbacks_;
  LastRequest& last_;
  DOMDocument& document_;
  RequestDocument request_;
  Exchange exchange_;
  Conversation conversation_;
  RunOutcome outcome_;
  bool is_selected_ = false;
};

}  // namespace

Runner::Runner(Bus& bus, TransportForm form, const RunnerTiming& timing)
    : bus_(bus), form_(form), timing_(timing), last_(std::make_unique<LastRequest>()) {}

Runner::~Runner() = default;

void Runner::OnStopRequested(StopRequested stop_requested) {
  stop_requested_ = std::move(stop_requested);
}

void Runner::OnRequestDone(RequestDone request_done) { request_done_ = std::move(request_done); }

void Runner::OnTryDone(TryDone try_done) { try_done_ = std::move(try_done); }

RunOutcome Runner::Run(DOMDocument& document) {
  const Callbacks callbacks{stop_requested_, request_done_, try_done_};
  return Execution(bus_, timing_, callbacks, *last_, document, form_).Run();
}

}  // namespace quillmark::host
