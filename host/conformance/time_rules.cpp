// SPDX-License-Identifier: MIT
#include <algorithm>

#include "host/conformance/rules.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// 5. P2.

Finding AwaitsEachFrameForP2(const Bench& bench, Exercise exercise) {
  for (Turn& turn : exercise.script) {
    for (ScriptedReply& reply : turn.replies) {
      reply.after = JustBefore(bench.runner.timing.p2);
    }
  }
  return bench.Run(exercise).IsComplete();
}

Finding AwaitsAnAnswerForP2(const Bench& bench) {
  return AwaitsEachFrameForP2(bench, TesterPresentExercise(bench.form));
}

Finding AwaitsControlFramesForP2(const Bench& bench) {
  return AwaitsEachFrameForP2(bench, DownloadExercise(bench.form, 1, kBlock));
}

Finding AwaitsFramesOfAnswersForP2(const Bench& bench) {
  return AwaitsEachFrameForP2(bench, UploadExercise(bench.form, 1));
}

Finding EndsAfterP2(const Bench& bench, const Exercise& exercise) {
  const milliseconds p2 = bench.runner.timing.p2;
  const Trial trial = bench.Run(exercise);
  return FirstOf({trial.HasFailed(), trial.EndsAfterLastFrame(JustBefore(p2), 2 * p2)});
}

Finding EndsInSilence(const Bench& bench) {
  Exercise exercise = TesterPresentExercise(bench.form);
  exercise.script.clear();
  return EndsAfterP2(bench, exercise);
}

Finding EndsInSilenceWithinAnAnswer(const Bench& bench) {
  Exercise exercise = UploadExercise(bench.form, 1);
  exercise.script.back().replies.clear();
  return EndsAfterP2(bench, exercise);
}

// 6. Response pending.

Finding AwaitsTheAnswerBehindPending(const Bench& bench) {
  const RunnerTiming& timing = bench.runner.timing;
  const milliseconds interval = JustBefore(timing.p2_star);
  const auto fitting = (JustBefore(timing.pending_limit) - JustBefore(timing.p2)) / interval;
  Exercise exercise = UploadExercise(bench.form, 1);
  const int count = std::clamp<int>(static_cast<int>(fitting), 1, std::min(3, timing.max_pending));
  Postpone(exercise, exercise.Refusal(0, kPending), count, interval);
  return bench.Run(exercise).IsComplete();
}

Finding EndsInSilenceBehindPending(const Bench& bench) {
  const RunnerTiming& timing = bench.runner.timing;
  Exercise exercise = TesterPresentExercise(bench.form);
  const milliseconds pending_at = exercise.AnswerTo(0).after;
  exercise.AnswerTo(0).frame = exercise.Refusal(0, kPending);
  const Trial trial = bench.Run(exercise);
  return FirstOf(
      {trial.HasFailed(), trial.EndsAfterLastFrame(pending_at + JustBefore(timing.p2_star),
                                                   pending_at + 2 * timing.p2_star)});
}

Finding ReceivesAtMost(const Trial& trial, int frames) {
  const auto received = trial.Received().size();
  return received <= static_cast<std::size_t>(frames)
             ? std::nullopt
             : Finding(
                   Mismatch{"an end of the run after " + std::to_string(frames / 2) + " of them",
                            "it took " + std::to_string(received)});
}

Finding LimitsTheCountOfPendings(const Bench& bench) {
  constexpr milliseconds kInterval{1};
  const int most = 2 * bench.runner.timing.max_pending;
  const Exercise good = TesterPresentExercise(bench.form);
  const Trial trial =
      bench.Run(Endless(good, good.Refusal(0, kPending), most + 10, kInterval),
                {.most_time = 2 * most * kInterval + 4 * bench.runner.timing.pending_limit});
  return FirstOf({trial.HasFailed(), ReceivesAtMost(trial, most)});
}

Finding LimitsTheTimeOfPendings(const Bench& bench) {
  const milliseconds limit = bench.runner.timing.pending_limit;
  const milliseconds interval =
      JustBefore(std::min(bench.runner.timing.p2, bench.runner.timing.p2_star));
  const Exercise good = TesterPresentExercise(bench.form);
  const int count = static_cast<int>(3 * limit / interval);
  const Trial trial = bench.Run(Endless(good, good.Refusal(0, kPending), count, interval),
                                {.most_time = 4 * limit});
  return FirstOf({trial.HasFailed(), trial.EndsAfterLastFrame(Duration::zero(), 2 * limit)});
}

// 7. Flow status.

constexpr std::uint8_t kWait = 0x31;
constexpr std::uint8_t kOverflow = 0x32;

/// Puts flow controls "wait" in front of the first flow control, which follows at the same
/// distance.
Exercise WaitingExercise(const Bench& bench, int waits, milliseconds interval) {
  Exercise exercise = DownloadExercise(bench.form, 1, kBlock);
  std::vector<ScriptedReply>& replies = exercise.script.front().replies;
  const milliseconds first = replies.front().after;
  replies.front().after += waits * interval;
  for (int n = waits - 1; n >= 0; --n) {
    replies.insert(replies.begin(), {first + n * interval, PlainFrame({kWait, 0, 0})});
  }
  return exercise;
}

Finding WaitsForTheNextFlowControl(const Bench& bench) {
  const int waits = std::min(3, bench.runner.timing.max_wait_frames);
  return bench.Run(WaitingExercise(bench, waits, JustBefore(bench.runner.timing.p2))).IsComplete();
}

Finding LimitsTheCountOfWaits(const Bench& bench) {
  const int most = 2 * bench.runner.timing.max_wait_frames;
  Exercise exercise = WaitingExercise(bench, most + 10, bench.runner.timing.p2 / 2);
  exercise.script.front().replies.pop_back();
  const Trial trial = bench.Run(exercise, {.most_time = (most + 20) * bench.runner.timing.p2});
  return FirstOf({trial.HasFailed(), ReceivesAtMost(trial, most)});
}

Finding EndsAtOverflow(const Bench& bench) {
  Exercise exercise = DownloadExercise(bench.form, 1, kBlock);
  exercise.script.front().replies.front().frame = PlainFrame({kOverflow, 0, 0});
  const Trial trial = bench.Run(exercise);
  return FirstOf({trial.HasFailed(), trial.ComesNoFurtherThan(1),
                  trial.EndsAfterLastFrame(Duration::zero(), bench.runner.timing.p2 / 2)});
}

// 8. Separation time.

/// The spans between the consecutive frames of the tester.
std::vector<Duration> GapsOf(const Trial& trial) {
  std::vector<Duration> gaps;
  std::optional<Duration> last;
  for (const BusEvent& event : trial.Sent()) {
    if (event.frame[0] >> 4U != 2) {
      continue;
    }
    if (last) {
      gaps.push_back(event.at - *last);
    }
    last = event.at;
  }
  return gaps;
}

Finding Separates(const Trial& trial, Duration least, Duration most) {
  if (const Finding finding = trial.IsComplete()) {
    return finding;
  }
  const std::vector<Duration> gaps = GapsOf(trial);
  const auto wrong = std::find_if(gaps.begin(), gaps.end(),
                                  [&](Duration gap) { return gap < least || gap > most; });
  return wrong == gaps.end()
             ? std::nullopt
             : Finding(Mismatch{MillisecondsText(least) + " to " + MillisecondsText(most) +
                                    " between consecutive frames",
                                "a gap of " + MillisecondsText(*wrong)});
}

Exercise SeparationExercise(const Bench& bench, const BlockSettings& settings,
                            std::uint8_t asked_for) {
  Exercise exercise = DownloadExercise(bench.form, 1, 64, settings);
  for (Turn& turn : exercise.script) {
    for (ScriptedReply& reply : turn.replies) {
      if (reply.frame[0] == 0x30) {
        reply.frame[2] = asked_for;
      }
    }
  }
  exercise.TakeGoodFrames();
  return exercise;
}

Finding KeepsALongerSeparationTime(const Bench& bench) {
  return Separates(bench.Run(SeparationExercise(bench, {}, 0x14)), milliseconds(20), seconds(1));
}

constexpr std::uint8_t k300Microseconds = 0xF3;
constexpr milliseconds kHardlyLonger{20};

Finding TakesTheEcusMicrosecondsForAMillisecond(const Bench& bench) {
  return Separates(bench.Run(SeparationExercise(bench, {}, k300Microseconds)), Duration::zero(),
                   kHardlyLonger);
}

Finding TakesTheDocumentsMicrosecondsForAMillisecond(const Bench& bench) {
  return Separates(bench.Run(SeparationExercise(bench, {8, k300Microseconds}, k300Microseconds)),
                   Duration::zero(), kHardlyLonger);
}

// 9. Waits and breaks.

bool IsOf(const Step& step, const BusEvent& event) {
  switch (event.kind) {
    case BusEvent::Kind::kSent:
      return step.kind == StepKind::kSend && step.frame == event.frame;
    case BusEvent::Kind::kReceived:
      return step.kind == StepKind::kReceive;
    default:
      return step.kind == StepKind::kBreak;
  }
}

/// Each step begins once the waits in front of it are over.
Finding KeepsWaits(const Exercise& exercise, const Trial& trial) {
  const std::vector<BusEvent>& events = trial.events();
  std::size_t next = 0;
  Duration since{};
  Duration wait{};
  for (const Step& step : exercise.built.steps) {
    if (step.kind == StepKind::kWait) {
      wait += step.time;
      continue;
    }
    while (next < events.size() && !IsOf(step, events[next])) {
      ++next;
    }
    if (next == events.size()) {
      return Mismatch{"an event on the bus for each step", trial.Outcome()};
    }
    const BusEvent& event = events[next++];
    if (step.kind == StepKind::kSend && event.at - since < wait) {
      return Mismatch{"a pause of " + MillisecondsText(wait) + " in front of " + HexOf(step.frame),
                      "a pause of " + MillisecondsText(event.at - since)};
    }
    since = event.at;
    wait = Duration::zero();
  }
  return std::nullopt;
}

Finding KeepsWaitsBetweenRequests(const Bench& bench) {
  const Exercise exercise = DownloadExercise(bench.form, 2, kBlock, {1, 20});
  return KeepsWaits(exercise, bench.Run(exercise));
}

Finding WakesTheEcu(const Bench& bench) {
  constexpr milliseconds kHalf{25};
  constexpr milliseconds kTooLong{35};
  constexpr const char* kExpected = "the line low for 25 ms, high for 25 ms, then the request";
  const Trial trial = bench.Run(StartDiagExercise(bench.form));
  const std::vector<BusEvent>& events = trial.events();
  if (events.size() < 2 || events[0].kind != BusEvent::Kind::kBreak ||
      events[1].kind != BusEvent::Kind::kSent) {
    return Mismatch{kExpected, "the run did not begin with a break and a frame"};
  }
  const Duration high = events[1].at - events[0].at;
  const bool is_right =
      events[0].low >= kHalf && events[0].low <= kTooLong && high >= kHalf && high <= kTooLong;
  return is_right ? std::nullopt
                  : Finding(Mismatch{kExpected, "low for " + MillisecondsText(events[0].low) +
                                                    ", high for " + MillisecondsText(high)});
}

constexpr std::array kTimeTests = {
    RuleTest{5, kAllForms, Ability::kNone, "an answer just before P2", AwaitsAnAnswerForP2},
    RuleTest{5, kCanForms, Ability::kNone, "flow controls and acknowledgements just before P2",
             AwaitsControlFramesForP2},
    RuleTest{5, kCanForms, Ability::kNone, "each frame of an answer just before P2",
             AwaitsFramesOfAnswersForP2},
    RuleTest{5, kAllForms, Ability::kNone, "no answer", EndsInSilence},
    RuleTest{5, kCanForms, Ability::kNone, "an answer that breaks off",
             EndsInSilenceWithinAnAnswer},
    RuleTest{6, kAllForms, Ability::kNone,
             "responses pending, each just before P2*, then the answer",
             AwaitsTheAnswerBehindPending},
    RuleTest{6, kAllForms, Ability::kNone, "a response pending, then silence",
             EndsInSilenceBehindPending},
    RuleTest{6, kAllForms, Ability::kNone, "responses pending without end, 1 ms apart",
             LimitsTheCountOfPendings},
    RuleTest{6, kAllForms, Ability::kNone, "responses pending without end, P2 apart",
             LimitsTheTimeOfPendings},
    RuleTest{7, kPlainCan, Ability::kNone,
             "flow controls \"wait\" just before P2, then one to continue",
             WaitsForTheNextFlowControl},
    RuleTest{7, kPlainCan, Ability::kNone, "flow controls \"wait\" without end",
             LimitsTheCountOfWaits},
    RuleTest{7, kPlainCan, Ability::kNone, "a flow control \"overflow\"", EndsAtOverflow},
    RuleTest{8, kPlainCan, Ability::kNone, "an ECU that asks for 20 ms",
             KeepsALongerSeparationTime},
    RuleTest{8, kPlainCan, Ability::kNone, "an ECU that asks for F3",
             TakesTheEcusMicrosecondsForAMillisecond},
    RuleTest{8, kPlainCan, Ability::kNone, "a document built for F3",
             TakesTheDocumentsMicrosecondsForAMillisecond},
    RuleTest{9, kAllForms, Ability::kNone, "waits between requests", KeepsWaitsBetweenRequests},
    RuleTest{9, kKLine, Ability::kNone, "the wake-up pattern", WakesTheEcu},
};

}  // namespace

std::span<const RuleTest> TimeRules() { return kTimeTests; }

}  // namespace quillmark::host
