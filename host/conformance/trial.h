// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/conformance/exercise.h"
#include "host/conformance/scripted_ecu.h"
#include "quillmark/host/conformance.h"

namespace quillmark::host {

/// What a rule demands, and what the runner did instead.
struct Mismatch {
  std::string expected{};
  std::string found{};
};

/// Nothing where the runner kept the rule.
using Finding = std::optional<Mismatch>;

/// How an exercise is run.
struct Conditions {
  /// What has arrived before the run.
  std::vector<Bytes> arrived{};
  int tries = 1;
  /// Asked with the ECU as it is then.
  std::function<bool(const ScriptedEcu&)> stop_requested{};
  /// After so much of its time the bus fails; nothing for more than any run of a few frames takes.
  std::optional<std::chrono::milliseconds> most_time{};
};

/// One run, as the bus and the document show it.
class Trial {
 public:
  /// Runs the exercise.
  Trial(const RunnerUnderTest& runner, const Exercise& exercise, const Conditions& conditions = {});

  /// Each receive step holds the frame of a good run, and no step has failed.
  [[nodiscard]] Finding IsComplete() const;
  /// The document says that the run ended early.
  [[nodiscard]] Finding HasFailed() const;
  /// The tester has sent so many frames of the script at most.
  [[nodiscard]] Finding ComesNoFurtherThan(std::size_t turns) const;
  /// The tester has sent each frame of the document in its order, and none beside them.
  [[nodiscard]] Finding SendsTheDocument() const;
  /// The span from the tester's last frame to the end of the run.
  [[nodiscard]] Finding EndsAfterLastFrame(Duration least, Duration most) const;

  [[nodiscard]] std::vector<BusEvent> Sent() const { return Of(BusEvent::Kind::kSent); }
  /// Without frames that are not of the document, on which only the rule about them looks.
  [[nodiscard]] std::vector<BusEvent> SentOfDocument() const;
  [[nodiscard]] std::vector<BusEvent> Received() const { return Of(BusEvent::Kind::kReceived); }
  [[nodiscard]] const std::vector<BusEvent>& events() const { return events_; }
  [[nodiscard]] Duration ended() const { return ended_; }
  [[nodiscard]] bool has_run_out() const { return has_run_out_; }
  /// The document afterwards; nothing where it can no longer be read.
  [[nodiscard]] const std::optional<RequestDocument>& after() const { return after_; }
  /// The step that has failed; null where none did.
  [[nodiscard]] const Step* FailedStep() const;

  /// What came of the run, for `Mismatch::found`.
  [[nodiscard]] std::string Outcome() const;

 private:
  [[nodiscard]] std::vector<BusEvent> Of(BusEvent::Kind kind) const;

  RequestDocument built_;
  std::vector<Bytes> good_frames_;
  std::vector<BusEvent> events_;
  Duration ended_{};
  std::size_t turns_ = 0;
  bool has_run_out_ = false;
  std::string raised_;
  std::optional<RequestDocument> after_;
  std::string unreadable_;
};

/// "0227810000000000, 3001000000000000", "nothing".
[[nodiscard]] std::string FramesText(const std::vector<BusEvent>& events);
/// "1250 ms".
[[nodiscard]] std::string MillisecondsText(Duration time);

}  // namespace quillmark::host
