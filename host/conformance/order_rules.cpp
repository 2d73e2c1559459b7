// SPDX-License-Identifier: MIT
#include <algorithm>
#include <utility>

#include "host/conformance/rules.h"
#include "quillmark/host/bytes.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

// 1. Once.

Finding RunsOnce(const Bench& bench, Exercise exercise, const std::vector<Turn>& first_script) {
  std::vector<Turn> good = std::exchange(exercise.script, first_script);
  const Trial first = bench.Run(exercise);
  exercise.script = std::move(good);
  const Trial second = bench.Run(exercise);
  if (first.Sent().empty()) {
    return Mismatch{"a request in the first run", "sent nothing"};
  }
  if (!second.Sent().empty()) {
    return Mismatch{"nothing is sent", "sent " + FramesText(second.Sent())};
  }
  const auto same = [](const Step& a, const Step& b) {
    return a.received == b.received && a.failure == b.failure;
  };
  const bool unchanged =
      first.after() && second.after() &&
      std::equal(first.after()->steps.begin(), first.after()->steps.end(),
                 second.after()->steps.begin(), second.after()->steps.end(), same);
  return unchanged ? std::nullopt
                   : Finding(Mismatch{"the document stays as it is",
                                      "it has changed: " + second.Outcome()});
}

Finding RunsACompleteDocumentOnce(const Bench& bench) {
  const Exercise exercise = UploadExercise(bench.form, 1);
  return RunsOnce(bench, exercise, exercise.script);
}

Finding RunsAFailedDocumentOnce(const Bench& bench) {
  return RunsOnce(bench, UploadExercise(bench.form, 1), {});
}

// 2. In order.

Finding RunsInOrder(const Bench& bench, const Exercise& exercise) {
  const Trial trial = bench.Run(exercise);
  std::string expected;
  for (const Step& step : exercise.built.steps) {
    expected += step.kind == StepKind::kSend ? "s" : step.kind == StepKind::kReceive ? "r" : "";
  }
  std::string found;
  for (const BusEvent& event : trial.events()) {
    found += event.kind == BusEvent::Kind::kSent       ? "s"
             : event.kind == BusEvent::Kind::kReceived ? "r"
                                                       : "";
  }
  return FirstOf({trial.SendsTheDocument(),
                  expected == found
                      ? std::nullopt
                      : Finding(Mismatch{"the steps in the order " + expected,
                                         "sent and received in the order " + found})});
}

Finding RunsDownloadsInOrder(const Bench& bench) {
  return RunsInOrder(bench, DownloadExercise(bench.form, 2, kBlock));
}

Finding RunsUploadsInOrder(const Bench& bench) {
  return RunsInOrder(bench, UploadExercise(bench.form, 2));
}

Finding SendsNothingWhilePending(const Bench& bench) {
  Exercise exercise = TesterPresentExercise(bench.form);
  const milliseconds pending_at = JustBefore(bench.runner.timing.p2);
  exercise.AnswerTo(0).after = pending_at + JustBefore(bench.runner.timing.p2_star);
  std::vector<ScriptedReply>& replies = exercise.RepliesTo(0);
  replies.insert(replies.begin(), {pending_at, exercise.Refusal(0, kPending)});
  return bench.Run(exercise).SendsTheDocument();
}

// 3. Identifiers.

Finding SendsTo(const Bench& bench, const Exercise& exercise) {
  const auto text = [](const Exchange& exchange) {
    return std::to_string(exchange.receive) + " and " + std::to_string(exchange.send);
  };
  const std::string expected = "receives and sends on " + text(exercise.exchange);
  const std::vector<BusEvent> sent = bench.Run(exercise).Sent();
  if (sent.empty()) {
    return Mismatch{expected, "sent nothing"};
  }
  for (const BusEvent& event : sent) {
    if (event.exchange != exercise.exchange) {
      return Mismatch{expected, event.exchange ? "selected " + text(*event.exchange)
                                               : "sent before it selected anything"};
    }
  }
  return std::nullopt;
}

Finding SelectsStandardIdentifiers(const Bench& bench) {
  return FirstOf({SendsTo(bench, TesterPresentExercise(bench.form, 0x7FF, 0x7DF)),
                  SendsTo(bench, TesterPresentExercise(bench.form, 1850, 1586))});
}

Finding SelectsExtendedIdentifiers(const Bench& bench) {
  return FirstOf({SendsTo(bench, TesterPresentExercise(bench.form, 0x18DAF110, 0x18DA10F1)),
                  SendsTo(bench, TesterPresentExercise(bench.form, 0x800, 0x1FFFFFFF))});
}

Finding SelectsChannelAndLine(const Bench& bench) {
  return FirstOf({SendsTo(bench, TesterPresentExercise(bench.form, 0, 0x6E)),
                  SendsTo(bench, TesterPresentExercise(bench.form, 0, 0x7A))});
}

// 4. Before a request.

Finding DropsALateAnswer(const Bench& bench) {
  Exercise exercise = TesterPresentExercise(bench.form);
  const Bytes late = exercise.AnswerTo(0).frame;
  exercise.script.clear();
  Finding finding = bench.Run(exercise, {.arrived = {late}}).HasFailed();
  if (finding) {
    finding->expected = "an \"e\", as nothing came after the request";
  }
  return finding;
}

Finding DropsASecondAnswer(const Bench& bench) {
  Exercise exercise = DownloadExercise(bench.form, 2, kBlock);
  exercise.RepliesTo(0).push_back(exercise.AnswerTo(0));
  exercise.AnswerTo(1).frame = exercise.Refusal(1, kRefused);
  Finding finding = bench.Run(exercise).HasFailed();
  if (finding) {
    finding->expected = "an \"e\", as the ECU refuses the second request";
  }
  return finding;
}

Finding HeedsALateRefusal(const Bench& bench) {
  Exercise exercise = DownloadExercise(bench.form, 2, kBlock);
  exercise.RepliesTo(0).push_back({exercise.AnswerTo(0).after, exercise.Refusal(0, kRefused)});
  const Trial trial = bench.Run(exercise);
  return FirstOf({trial.HasFailed(), trial.ComesNoFurtherThan(exercise.requests[1].first)});
}

Finding DropsALatePending(const Bench& bench) {
  Exercise exercise = DownloadExercise(bench.form, 2, kBlock);
  exercise.RepliesTo(0).push_back({exercise.AnswerTo(0).after, exercise.Refusal(0, kPending)});
  return bench.Run(exercise).IsComplete();
}

constexpr std::array kOrderTests = {
    RuleTest{1, kAllForms, Ability::kNone, "a document that was run is run again",
             RunsACompleteDocumentOnce},
    RuleTest{1, kAllForms, Ability::kNone, "a document whose run failed is run again",
             RunsAFailedDocumentOnce},
    RuleTest{2, kAllForms, Ability::kNone, "two requests with short answers", RunsDownloadsInOrder},
    RuleTest{2, kAllForms, Ability::kNone, "two requests with long answers", RunsUploadsInOrder},
    RuleTest{2, kAllForms, Ability::kNone, "a response pending before the answer",
             SendsNothingWhilePending},
    RuleTest{3, kPlainCan, Ability::kNone, "standard identifiers", SelectsStandardIdentifiers},
    RuleTest{3, kPlainCan, Ability::kNone, "identifiers above 0x7FF", SelectsExtendedIdentifiers},
    RuleTest{3, kGateway, Ability::kNone, "a channel and both lines of a gateway",
             SelectsChannelAndLine},
    RuleTest{4, kAllForms, Ability::kNone, "an answer that comes before its request",
             DropsALateAnswer},
    RuleTest{4, kKLine, Ability::kNone,
             "an answer that comes twice, before a request that is refused", DropsASecondAnswer},
    RuleTest{4, kAllForms, Ability::kNone, "a refusal behind a positive answer", HeedsALateRefusal},
    RuleTest{4, kAllForms, Ability::kNone, "a response pending behind a positive answer",
             DropsALatePending},
};

}  // namespace

std::span<const RuleTest> OrderRules() { return kOrderTests; }

}  // namespace quillmark::host
