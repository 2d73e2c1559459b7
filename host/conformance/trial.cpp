// SPDX-License-Identifier: MIT
#include "host/conformance/trial.h"

#include <algorithm>
#include <exception>
#include <iterator>

#include "quillmark/error.h"
#include "quillmark/host/bytes.h"

namespace quillmark::host {
namespace {

std::chrono::milliseconds UsualTime(const RunnerTiming& timing) {
  constexpr std::chrono::seconds kRest{10};
  return kRest + 20 * timing.p2 + 10 * timing.p2_star + 2 * timing.pending_limit;
}

std::string Numbered(std::size_t index) { return "step " + std::to_string(index + 1); }

}  // namespace

Trial::Trial(const RunnerUnderTest& runner, const Exercise& exercise, const Conditions& conditions)
    : built_(exercise.built), good_frames_(exercise.good_frames) {
  ScriptedEcu ecu(exercise.script, conditions.arrived,
                  conditions.most_time.value_or(UsualTime(runner.timing)));
  const RunnerTask task{
      .document = *exercise.document,
      .bus = ecu,
      .form = exercise.form,
      .stop_requested = [&] { return conditions.stop_requested && conditions.stop_requested(ecu); },
      .tries = conditions.tries};
  try {
    runner.run(task);
  } catch (const std::exception& error) {
    raised_ = error.what();
  }
  events_ = ecu.events();
  ended_ = ecu.Now();
  turns_ = ecu.turns();
  has_run_out_ = ecu.has_run_out();
  try {
    after_ = ReadRequestDocument(*exercise.document);
    ForgetElements(*after_);
  } catch (const Error& error) {
    unreadable_ = error.what();
  }
}

Finding Trial::IsComplete() const {
  constexpr const char* kExpected =
      "a complete run, each receive step with the frame that answers it";
  if (has_run_out_ || !raised_.empty() || !after_ || FailedStep() != nullptr) {
    return Mismatch{kExpected, Outcome()};
  }
  std::vector<Bytes> frames;
  for (const Step& step : after_->steps) {
    if (step.kind == StepKind::kReceive && !step.received) {
      return Mismatch{kExpected, Outcome()};
    }
    if (step.kind == StepKind::kReceive) {
      frames.push_back(*step.received);
    }
  }
  const auto [wrong, good] =
      std::mismatch(frames.begin(), frames.end(), good_frames_.begin(), good_frames_.end());
  if (wrong == frames.end()) {
    return std::nullopt;
  }
  return Mismatch{kExpected, "receive step " + std::to_string(wrong - frames.begin() + 1) +
                                 " holds " + HexOf(*wrong) +
                                 (good == good_frames_.end() ? "" : ", not " + HexOf(*good))};
}

Finding Trial::HasFailed() const {
  if (has_run_out_ || FailedStep() == nullptr) {
    return Mismatch{"an end of the run, and an \"e\" that says so", Outcome()};
  }
  return std::nullopt;
}

Finding Trial::ComesNoFurtherThan(std::size_t turns) const {
  if (turns_ <= turns) {
    return std::nullopt;
  }
  return Mismatch{"no more than " + std::to_string(turns) + " frames of requests",
                  "sent " + FramesText(SentOfDocument())};
}

Finding Trial::SendsTheDocument() const {
  std::vector<BusEvent> of_document;
  for (const Step& step : built_.steps) {
    if (step.kind == StepKind::kSend) {
      of_document.push_back({.frame = step.frame});
    }
  }
  const std::string expected = FramesText(of_document);
  const std::string found = FramesText(Sent());
  return expected == found ? std::nullopt
                           : Finding(Mismatch{"the frames " + expected, "sent " + found});
}

Finding Trial::EndsAfterLastFrame(Duration least, Duration most) const {
  const std::vector<BusEvent> sent = Sent();
  const std::string expected = "an end " + MillisecondsText(least) + " to " +
                               MillisecondsText(most) + " after the last frame of the tester";
  if (has_run_out_ || sent.empty()) {
    return Mismatch{expected, Outcome()};
  }
  const Duration time = ended_ - sent.back().at;
  if (time < least || time > most) {
    return Mismatch{expected, "it ended after " + MillisecondsText(time)};
  }
  return std::nullopt;
}

const Step* Trial::FailedStep() const {
  if (!after_) {
    return nullptr;
  }
  const auto failed = std::find_if(after_->steps.begin(), after_->steps.end(),
                                   [](const Step& step) { return step.failure.has_value(); });
  return failed == after_->steps.end() ? nullptr : &*failed;
}

std::string Trial::Outcome() const {
  std::string text;
  if (!after_) {
    text = "the document can no longer be read: " + unreadable_;
  } else if (const Step* const failed = FailedStep()) {
    text = Numbered(static_cast<std::size_t>(failed - after_->steps.data())) + " has " +
           (failed->received ? "the d " + HexOf(*failed->received) + " and " : "") + "the e \"" +
           *failed->failure + '"';
  } else {
    const auto open = std::find_if(
        after_->steps.begin(), after_->steps.end(),
        [](const Step& step) { return step.kind == StepKind::kReceive && !step.received; });
    text = open == after_->steps.end()
               ? "every receive step has a frame"
               : Numbered(static_cast<std::size_t>(open - after_->steps.begin())) +
                     " has neither d nor e";
  }
  if (!raised_.empty()) {
    text += "; the runner raised \"" + raised_ + '"';
  }
  return text + (has_run_out_ ? "; the run did not end" : "");
}

std::vector<BusEvent> Trial::SentOfDocument() const {
  std::vector<BusEvent> sent = Sent();
  const auto is_other = [this](const BusEvent& event) {
    return std::none_of(built_.steps.begin(), built_.steps.end(),
                        [&](const Step& step) { return step.frame == event.frame; });
  };
  sent.erase(std::remove_if(sent.begin(), sent.end(), is_other), sent.end());
  return sent;
}

std::vector<BusEvent> Trial::Of(BusEvent::Kind kind) const {
  std::vector<BusEvent> events;
  std::copy_if(events_.begin(), events_.end(), std::back_inserter(events),
               [kind](const BusEvent& event) { return event.kind == kind; });
  return events;
}

std::string FramesText(const std::vector<BusEvent>& events) {
  std::string text;
  for (const BusEvent& event : events) {
    text += (text.empty() ? "" : ", ") + HexOf(event.frame);
  }
  return text.empty() ? "nothing" : text;
}

std::string MillisecondsText(Duration time) {
  return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(time).count()) +
         " ms";
}

}  // namespace quillmark::host
