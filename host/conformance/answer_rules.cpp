// SPDX-License-Identifier: MIT
#include <algorithm>
#include <exception>

#include "host/conformance/rules.h"
#include "host/ecu/k_message.h"
#include "quillmark/host/bytes.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

// 10. What answers nothing.

/// What another ECU on a gateway or a K line sends to the tester.
Bytes OfAnotherEcu(TransportForm form) {
  Bytes message = EncodeKMessage({0xF1, 0x33, {0x7E}});
  if (form == TransportForm::kGateway) {
    message.insert(message.begin(), 1);
  }
  return message;
}

/// Frames that answer no tester present.
std::vector<Bytes> ForeignFrames(const Exercise& exercise) {
  const TransportForm form = exercise.form;
  std::vector<Bytes> frames = {exercise.script.front().frame, FrameOfAnswer(form, {0x50, 0xC0}),
                               FrameOfAnswer(form, {0x7F, 0x21, kRefused}),
                               FrameOfAnswer(form, {0x7F, 0x21, kPending})};
  if (form == TransportForm::kPlainCan) {
    frames.push_back(PlainFrame({0x30, 0x01, 0x00}));
    frames.push_back(PlainFrame({0x21, 1, 2, 3, 4, 5, 6, 7}));
  } else {
    frames.push_back(OfAnotherEcu(form));
  }
  if (form == TransportForm::kGateway) {
    frames.push_back({0x81});
  }
  return frames;
}

Finding PassesOverForeignFrames(const Bench& bench) {
  const Exercise good = TesterPresentExercise(bench.form);
  for (const Bytes& frame : ForeignFrames(good)) {
    Exercise exercise = good;
    exercise.document = TesterPresentExercise(bench.form).document;
    Postpone(exercise, frame, 1, milliseconds(2));
    if (Finding finding = bench.Run(exercise).IsComplete()) {
      finding->expected = HexOf(frame) + " in front of the answer changes nothing";
      return finding;
    }
  }
  return std::nullopt;
}

Finding PassesOverRepeatedFrames(const Bench& bench) {
  Exercise exercise = UploadExercise(bench.form, 1);
  for (std::size_t turn = 0; turn + 1 < exercise.script.size(); ++turn) {
    std::vector<ScriptedReply>& replies = exercise.script[turn].replies;
    replies.push_back(replies.front());
  }
  return bench.Run(exercise).IsComplete();
}

Finding WaitsNoLongerForForeignFrames(const Bench& bench) {
  constexpr int kFrames = 30;
  const milliseconds p2 = bench.runner.timing.p2;
  const Exercise good = TesterPresentExercise(bench.form);
  const Bytes foreign = FrameOfAnswer(bench.form, {0x50, 0xC0});
  const Trial trial = bench.Run(Endless(good, foreign, kFrames, p2 * 4 / 10));
  return FirstOf({trial.HasFailed(), trial.EndsAfterLastFrame(Duration::zero(), 8 * p2)});
}

// 11. Damage.

/// Changes the last frame of a read's answer.
Finding NoticesDamage(const Bench& bench, void (*damage)(Bytes& frame)) {
  Exercise exercise = UploadExercise(bench.form, 1);
  damage(exercise.script.back().replies.back().frame);
  const Trial trial = bench.Run(exercise);
  Finding finding = trial.HasFailed();
  if (finding) {
    finding->expected =
        "an \"e\", as the answer ends with " + HexOf(exercise.script.back().replies.back().frame);
  }
  return finding;
}

Finding NoticesAWrongSequenceNumber(const Bench& bench) {
  return NoticesDamage(bench, [](Bytes& frame) { ++frame[0]; });
}

Finding NoticesAShortFrame(const Bench& bench) {
  return NoticesDamage(bench, [](Bytes& frame) { frame.resize(2); });
}

Finding NoticesAShortMessage(const Bench& bench) {
  return NoticesDamage(bench, [](Bytes& frame) { frame.pop_back(); });
}

Finding NoticesAWrongChecksum(const Bench& bench) {
  return NoticesDamage(bench, [](Bytes& frame) { ++frame.back(); });
}

Finding AwaitsAQuietLine(const Bench& bench) {
  constexpr milliseconds kP3{55};
  constexpr int kFragments = 8;
  const milliseconds interval = std::min(milliseconds(50), bench.runner.timing.p2 / 20);
  Exercise exercise = TesterPresentExercise(bench.form);
  std::vector<ScriptedReply>& replies = exercise.RepliesTo(0);
  ++replies.front().frame.back();
  for (int n = 1; n <= kFragments; ++n) {
    replies.push_back({replies.front().after + n * interval, {0x83, 0xF1}});
  }
  const milliseconds last = replies.back().after;
  const Exercise next = TesterPresentExercise(bench.form);
  RunnerUnderTest both = bench.runner;
  both.run = [&](const RunnerTask& task) {
    try {
      bench.runner.run(task);
    } catch (const std::exception&) {
      // It has told its caller of the damage, too.
    }
    bench.runner.run({.document = *next.document,
                      .bus = task.bus,
                      .form = task.form,
                      .stop_requested = task.stop_requested});
  };
  const std::vector<BusEvent> sent = Trial(both, exercise).SentOfDocument();
  const std::string expected = "the next document's request " + MillisecondsText(kP3) +
                               " after the last noise at the earliest";
  if (sent.size() < 2) {
    return Mismatch{expected, "it was not sent"};
  }
  const Duration after = sent[1].at - sent[0].at - last;
  return after >= kP3
             ? std::nullopt
             : Finding(Mismatch{expected, "it was sent " + MillisecondsText(after) + " after it"});
}

// 14. Results.

/// The texts of all `d` in the receive steps, as they are written.
std::vector<std::string> TextsOfResults(const DOMDocument& document, TransportForm form) {
  const auto nodes = document.selectNodes(form == TransportForm::kKLine ? "/k/r/d" : "/can/x/r/d");
  std::vector<std::string> texts;
  for (std::size_t n = 0; n < nodes->length(); ++n) {
    texts.push_back(nodes->item(n)->text());
  }
  return texts;
}

/// Nothing but results was written.
Finding KeepsTheSteps(const Exercise& exercise, const Trial& trial) {
  const auto same = [](const Step& a, const Step& b) {
    return a.kind == b.kind && a.frame == b.frame && a.expected == b.expected && a.time == b.time;
  };
  const std::vector<Step>& before = exercise.built.steps;
  const bool kept =
      trial.after() && std::equal(before.begin(), before.end(), trial.after()->steps.begin(),
                                  trial.after()->steps.end(), same);
  return kept ? std::nullopt
              : Finding(Mismatch{"the steps of the document stay as they are", trial.Outcome()});
}

Finding WritesEachFrame(const Bench& bench, const Exercise& exercise) {
  const Trial trial = bench.Run(exercise);
  if (const Finding finding = FirstOf({KeepsTheSteps(exercise, trial), trial.IsComplete()})) {
    return finding;
  }
  const std::vector<std::string> texts = TextsOfResults(*exercise.document, bench.form);
  for (std::size_t n = 0; n < texts.size(); ++n) {
    const std::string text = HexOf(exercise.good_frames[n]);
    if (texts[n] != text) {
      return Mismatch{"the d " + text, "the d " + texts[n]};
    }
  }
  return std::nullopt;
}

Finding WritesFramesOfDownloads(const Bench& bench) {
  return WritesEachFrame(bench, DownloadExercise(bench.form, 2, kBlock));
}

Finding WritesFramesOfUploads(const Bench& bench) {
  return WritesEachFrame(bench, UploadExercise(bench.form, 2));
}

/// The first request of a download meets this frame, or silence where it is empty.
Finding WritesHowItFailed(const Bench& bench, Exercise exercise, const Bytes& frame) {
  exercise.AnswerTo(0).frame = frame;
  if (frame.empty()) {
    exercise.RepliesTo(0).clear();
  }
  const Trial trial = bench.Run(exercise);
  const Finding finding = FirstOf({KeepsTheSteps(exercise, trial), trial.HasFailed(),
                                   trial.ComesNoFurtherThan(exercise.requests[0].end)});
  if (finding) {
    return finding;
  }
  const std::vector<Step>& steps = trial.after()->steps;
  const Step& failed = *trial.FailedStep();
  const bool is_right = failed.kind == StepKind::kReceive &&
                        failed.received.value_or(Bytes{}) == frame &&
                        failed.received.has_value() == !frame.empty();
  const bool is_last = std::all_of(&failed + 1, steps.data() + steps.size(), [](const Step& step) {
    return !step.received && !step.failure;
  });
  if (is_right && is_last) {
    return std::nullopt;
  }
  return Mismatch{(frame.empty() ? "no d" : "the d " + HexOf(frame)) +
                      " and an e where the answer was awaited, nothing behind it",
                  trial.Outcome()};
}

Finding WritesARefusal(const Bench& bench) {
  const Exercise exercise = DownloadExercise(bench.form, 2, kBlock);
  return WritesHowItFailed(bench, exercise, exercise.Refusal(0, kRefused));
}

Finding WritesAnUnexpectedAnswer(const Bench& bench) {
  return WritesHowItFailed(bench, DownloadExercise(bench.form, 2, kBlock),
                           FrameOfAnswer(bench.form, {0x74, 0x03}));
}

Finding WritesSilence(const Bench& bench) {
  return WritesHowItFailed(bench, DownloadExercise(bench.form, 2, kBlock), {});
}

constexpr std::array kAnswerTests = {
    RuleTest{10, kAllForms, Ability::kNone, "frames of others and the own echo before the answer",
             PassesOverForeignFrames},
    RuleTest{10, kPlainCan, Ability::kNone, "frames of an answer that come twice",
             PassesOverRepeatedFrames},
    RuleTest{10, kAllForms, Ability::kNone, "frames of others, and no answer",
             WaitsNoLongerForForeignFrames},
    RuleTest{11, kPlainCan, Ability::kNone, "a wrong sequence number", NoticesAWrongSequenceNumber},
    RuleTest{11, kPlainCan, Ability::kNone, "a consecutive frame without all of its bytes",
             NoticesAShortFrame},
    RuleTest{11, kCheckedForms, Ability::kNone, "a message without its last byte",
             NoticesAShortMessage},
    RuleTest{11, kCheckedForms, Ability::kNone, "a wrong checksum", NoticesAWrongChecksum},
    RuleTest{11, kKLine, Ability::kNone, "noise behind a damaged message", AwaitsAQuietLine},
    RuleTest{14, kAllForms, Ability::kNone, "a good run of two requests with short answers",
             WritesFramesOfDownloads},
    RuleTest{14, kAllForms, Ability::kNone, "a good run of two requests with long answers",
             WritesFramesOfUploads},
    RuleTest{14, kAllForms, Ability::kNone, "a refusal", WritesARefusal},
    RuleTest{14, kAllForms, Ability::kNone, "an unexpected answer", WritesAnUnexpectedAnswer},
    RuleTest{14, kAllForms, Ability::kNone, "no answer", WritesSilence},
};

}  // namespace

std::span<const RuleTest> AnswerRules() { return kAnswerTests; }

}  // namespace quillmark::host
