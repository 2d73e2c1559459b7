// SPDX-License-Identifier: MIT
#include <algorithm>
#include <utility>

#include "host/conformance/rules.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// 12. Stops.

/// How many frames the ECU sends for the first request.
std::size_t FramesForTheFirst(const Exercise& exercise) {
  std::size_t frames = 0;
  for (const Turn& turn : TurnsOf(exercise, 0)) {
    frames += turn.replies.size();
  }
  return frames;
}

std::size_t ReceivedFrom(const ScriptedEcu& ecu) {
  return static_cast<std::size_t>(
      std::count_if(ecu.events().begin(), ecu.events().end(),
                    [](const BusEvent& event) { return event.kind == BusEvent::Kind::kReceived; }));
}

Finding StopsBeforeARequest(const Bench& bench) {
  const Exercise exercise = DownloadExercise(bench.form, 2, kBlock);
  const Trial trial = bench.Run(
      exercise, {.stop_requested = [frames = FramesForTheFirst(exercise)](const ScriptedEcu& ecu) {
        return ReceivedFrom(ecu) >= frames;
      }});
  return FirstOf({trial.ComesNoFurtherThan(exercise.requests[1].first), trial.HasFailed()});
}

Finding StopsWhileAnAnswerIsAwaited(const Bench& bench) {
  constexpr std::size_t kPendings = 2;
  constexpr seconds kMost{2};
  const milliseconds interval = std::min<milliseconds>(
      JustBefore(std::min(bench.runner.timing.p2, bench.runner.timing.p2_star)), milliseconds(500));
  const Exercise good = TesterPresentExercise(bench.form);
  const Trial trial = bench.Run(
      Endless(good, good.Refusal(0, kPending), static_cast<int>(20 * kMost / interval), interval),
      {.stop_requested = [](const ScriptedEcu& ecu) { return ReceivedFrom(ecu) >= kPendings; }});
  return FirstOf({trial.HasFailed(),
                  trial.EndsAfterLastFrame(Duration::zero(), kPendings * interval + kMost)});
}

Finding FinishesARequestBeforeItStops(const Bench& bench) {
  const Exercise exercise = DownloadExercise(bench.form, 2, kBlock);
  const Trial trial = bench.Run(
      exercise, {.stop_requested = [](const ScriptedEcu& ecu) { return ecu.turns() >= 1; }});
  const std::size_t frames = exercise.requests[0].last + 1;
  if (trial.SentOfDocument().size() < frames) {
    return Mismatch{"all " + std::to_string(frames) + " frames of the request that was begun",
                    "sent " + FramesText(trial.SentOfDocument())};
  }
  return trial.ComesNoFurtherThan(exercise.requests[1].first);
}

// 13. Repetition.

/// The first request is not answered; what follows is for its second try.
void LoseTheFirstAnswer(Exercise& exercise) {
  std::vector<Turn> lost = TurnsOf(exercise, 0);
  lost.resize(exercise.requests[0].last + 1);
  lost.back().replies.clear();
  exercise.script.insert(exercise.script.begin(), lost.begin(), lost.end());
}

Finding SendsAgain(const Bench& bench) {
  Exercise exercise = DownloadExercise(bench.form, 1, kBlock);
  LoseTheFirstAnswer(exercise);
  return bench.Run(exercise, {.tries = 2}).IsComplete();
}

Finding SendsNoMoreOftenThanAllowed(const Bench& bench) {
  constexpr std::size_t kTries = 3;
  Exercise exercise = TesterPresentExercise(bench.form);
  exercise.script.assign(2 * kTries, {.frame = exercise.script.front().frame});
  const Trial trial = bench.Run(exercise, {.tries = static_cast<int>(kTries)});
  return FirstOf({trial.HasFailed(), trial.ComesNoFurtherThan(kTries)});
}

/// Runs two requests, of which the first is answered at its second try alone, by `replies`, and
/// gives the pause between the last of them and the second request.
Finding PausesBehindARepeatedRequest(const Bench& bench, Exercise exercise, Duration least) {
  const std::size_t second_at = 2 * exercise.requests[0].end;
  const milliseconds last_reply = exercise.RepliesTo(0).back().after;
  LoseTheFirstAnswer(exercise);
  const Trial trial = bench.Run(exercise, {.tries = 2});
  if (const Finding finding = trial.IsComplete()) {
    return finding;
  }
  const std::vector<BusEvent> sent = trial.SentOfDocument();
  if (sent.size() <= second_at) {
    return Mismatch{"two tries of the first request, then the second", "sent " + FramesText(sent)};
  }
  const Duration pause = sent[second_at].at - sent[second_at - 1].at - last_reply;
  return pause >= least ? std::nullopt
                        : Finding(Mismatch{"the next request at least " + MillisecondsText(least) +
                                               " after the last answer to the repeated one",
                                           "it was sent " + MillisecondsText(pause) + " after it"});
}

Finding AwaitsBothAnswers(const Bench& bench) {
  Exercise exercise = DownloadExercise(bench.form, 2, kBlock);
  ScriptedReply second = exercise.AnswerTo(0);
  second.after += bench.runner.timing.p2 / 2;
  exercise.RepliesTo(0).push_back(second);
  return PausesBehindARepeatedRequest(bench, std::move(exercise), Duration::zero());
}

Finding AwaitsSilence(const Bench& bench) {
  return PausesBehindARepeatedRequest(bench, DownloadExercise(bench.form, 2, kBlock),
                                      JustBefore(bench.runner.timing.p2));
}

constexpr std::array kAbilityTests = {
    RuleTest{12, kAllForms, Ability::kStop, "a stop behind the first of two requests",
             StopsBeforeARequest},
    RuleTest{12, kAllForms, Ability::kStop, "a stop while the ECU answers pending",
             StopsWhileAnAnswerIsAwaited},
    RuleTest{12, kCanForms, Ability::kStop, "a stop within the frames of a request",
             FinishesARequestBeforeItStops},
    RuleTest{13, kAllForms, Ability::kRepeat, "an answer to the second try alone", SendsAgain},
    RuleTest{13, kAllForms, Ability::kRepeat, "no answer to any try", SendsNoMoreOftenThanAllowed},
    RuleTest{13, kAllForms, Ability::kRepeat, "answers to both tries", AwaitsBothAnswers},
    RuleTest{13, kAllForms, Ability::kRepeat, "an answer to one of two tries", AwaitsSilence},
};

}  // namespace

std::span<const RuleTest> AbilityRules() { return kAbilityTests; }

}  // namespace quillmark::host
