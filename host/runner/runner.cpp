// SPDX-License-Identifier: MIT
#include "host/runner/runner.h"

#include <string_view>
#include <utility>

#include "host/runner/message_reader.h"
#include "host/runner/request_document.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kResponsePending = 0x78;

struct Callbacks {
  const Runner::StopRequested& stop_requested;
  const Runner::RequestDone& request_done;
};

/// One run of one document.
class Execution {
 public:
  Execution(Bus& bus, const RunnerTiming& timing, const Callbacks& callbacks, DOMDocument& document,
            RequestDocument request)
      : bus_(bus),
        timing_(timing),
        callbacks_(callbacks),
        document_(document),
        request_(std::move(request)),
        requests_(request_.exchange.form) {}

  RunOutcome Run() {
    const Duration start = bus_.Now();
    bool going_on = true;
    for (auto step = request_.steps.begin(); going_on && step != request_.steps.end(); ++step) {
      ++number_;
      going_on = TryStep(*step);
    }
    if (going_on) {
      ReportRequest();
    }
    outcome_.request = requests_.Request();
    outcome_.elapsed = bus_.Now() - start;
    return std::move(outcome_);
  }

 private:
  bool TryStep(const Step& step) {
    try {
      if (number_ == 1) {
        bus_.Select(request_.exchange);
      }
      return Execute(step);
    } catch (const BusError& error) {
      return Fail(step, RunStatus::kBusError, error.what());
    }
  }

  bool Execute(const Step& step) {
    switch (step.kind) {
      case StepKind::kSend:
        return Send(step);
      case StepKind::kReceive:
        return Receive(step);
      case StepKind::kWait:
        bus_.Wait(step.time);
        return true;
      default:
        bus_.Break(step.time);
        return true;
    }
  }

  bool Send(const Step& step) {
    if (requests_.BeginsRequest(step.frame)) {
      ReportRequest();
      if (callbacks_.stop_requested && callbacks_.stop_requested()) {
        return Fail(step, RunStatus::kStopped, "stopped before this request");
      }
    }
    if (turn_is_ours_) {
      bus_.DiscardReceived();
    }
    turn_is_ours_ = false;
    requests_.OnSent(step.frame);
    bus_.Send(step.frame);
    return true;
  }

  bool Receive(const Step& step) {
    turn_is_ours_ = true;
    const Duration deadline = bus_.Now() + timing_.pending_limit;
    std::chrono::milliseconds timeout = timing_.p2;
    for (int pending = 0;; ++pending) {
      std::optional<Bytes> frame = bus_.Receive(timeout);
      if (!frame) {
        return Fail(step, RunStatus::kSilence, SilenceText(step, timeout));
      }
      if (Matches(*frame, step)) {
        AddText(step, "d", HexOf(*frame));
        return true;
      }
      if (NegativeResponseCodeOf(request_.exchange.form, *frame) != kResponsePending) {
        return FailWith(step, RunStatus::kUnexpectedFrame, std::move(*frame));
      }
      if (pending >= timing_.max_pending || bus_.Now() > deadline) {
        return FailWith(step, RunStatus::kPendingTooLong, std::move(*frame));
      }
      timeout = timing_.p2_star;
    }
  }

  static bool Matches(const Bytes& frame, const Step& step) {
    return !frame.empty() && HexOf(frame).starts_with(step.expected);
  }

  static std::string SilenceText(const Step& step, std::chrono::milliseconds timeout) {
    const std::string text = "no frame within " + std::to_string(timeout.count()) + " ms";
    return step.expected.empty() ? text : text + ", expected " + step.expected;
  }

  /// Fails with the frame that came instead of the expected one.
  bool FailWith(const Step& step, RunStatus status, Bytes frame) {
    const std::string hex = HexOf(frame);
    std::string reason = frame.empty() ? "received an empty frame" : "received " + hex;
    if (!step.expected.empty()) {
      reason += ", expected " + step.expected;
    }
    if (!frame.empty()) {
      AddText(step, "d", hex);
    }
    outcome_.response_code = NegativeResponseCodeOf(request_.exchange.form, frame);
    outcome_.frame = std::move(frame);
    return Fail(step, status, reason);
  }

  /// Always false: the run ends here.
  bool Fail(const Step& step, RunStatus status, const std::string& reason) {
    AddText(step, "e", reason);
    outcome_.status = status;
    outcome_.step = number_;
    outcome_.reason = reason;
    return false;
  }

  void AddText(const Step& step, std::string_view name, const std::string& text) {
    const std::shared_ptr<IXMLDOMElement> element = document_.createElement(name);
    element->setText(text);
    step.element->appendChild(element);
  }

  /// Reports the request that has just been answered, if there is one.
  void ReportRequest() {
    const Bytes request = requests_.Request();
    if (!request.empty() && callbacks_.request_done) {
      callbacks_.request_done(request);
    }
  }

  Bus& bus_;
  const RunnerTiming& timing_;
  Callbacks callbacks_;
  DOMDocument& document_;
  RequestDocument request_;
  RequestReader requests_;
  RunOutcome outcome_;
  std::size_t number_ = 0;
  /// Between a reply and the next request: what arrives now is not an answer.
  bool turn_is_ours_ = true;
};

}  // namespace

Runner::Runner(Bus& bus, TransportForm form, const RunnerTiming& timing)
    : bus_(bus), form_(form), timing_(timing) {}

void Runner::OnStopRequested(StopRequested stop_requested) {
  stop_requested_ = std::move(stop_requested);
}

void Runner::OnRequestDone(RequestDone request_done) { request_done_ = std::move(request_done); }

RunOutcome Runner::Run(DOMDocument& document) {
  const Callbacks callbacks{stop_requested_, request_done_};
  return Execution(bus_, timing_, callbacks, document, ReadRequestDocument(document, form_)).Run();
}

}  // namespace quillmark::host
