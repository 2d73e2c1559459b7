// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/runner.h"

namespace quillmark::host {

/// One document for a runner to run. What it refers to lives until the run has ended.
struct RunnerTask {
  /// A request document that has not been run.
  DOMDocument& document;
  /// In simulated time: `Now` is the only clock, a wait takes no time of the machine.
  Bus& bus;
  /// The form of the document.
  TransportForm form;
  /// Whether the run is to end. Always false for a runner that does not claim to stop.
  std::function<bool()> stop_requested{};
  /// How often a request may be sent until it is answered. Always 1 for a runner that does not
  /// claim to repeat.
  int tries = 1;
};

/// A runner that is to be tested.
struct RunnerUnderTest {
  /// Runs a document and writes what came of it into the document. May raise, before or after it
  /// has written.
  std::function<void(const RunnerTask& task)> run{};
  /// How patient the runner is. P2 and P2* are 20 ms to an hour, the counts 1 to 10,000, and
  /// `pending_limit` is at least both together, at most a day.
  RunnerTiming timing{};
  /// The forms that it can run.
  std::vector<TransportForm> forms = {TransportForm::kPlainCan, TransportForm::kGateway,
                                      TransportForm::kKLine};
  /// Whether it asks `stop_requested`.
  bool can_stop = false;
  /// Whether it sends a request up to `tries` times.
  bool can_repeat = false;
};

/// What came of the tests of a rule.
enum class RuleVerdict : std::uint8_t {
  kPassed,      ///< the runner kept the rule in every test
  kFailed,      ///< it broke the rule in at least one
  kNotClaimed,  ///< it does not claim the ability that the rule is about: nothing was tested
};

/// One rule in one transport form.
struct RuleResult {
  /// As on the page "The documents", section "Rules for a runner".
  int rule = 0;
  std::string name{};                             ///< the rule in a few words
  TransportForm form = TransportForm::kPlainCan;  ///< in which it was tested
  RuleVerdict verdict = RuleVerdict::kPassed;     ///< what came of all its tests
  /// `kFailed`: the first test that failed.
  std::string test{};
  /// `kFailed`: what the rule demands there.
  std::string expected{};
  /// `kFailed`: what the runner did. May hold text of the runner, with any characters.
  std::string found{};
};

/// Plays the ECU against a runner and judges what it sends, when, and what the documents hold
/// afterwards. Returns the rules in the order of their numbers, form by form, without those that
/// say nothing about a form.
///
/// A run that does not end is ended by a BusError from every operation of its bus. Raises
/// std::invalid_argument for timing out of range. Threads: calls the runner on the caller's.
[[nodiscard]] QUILLMARK_API std::vector<RuleResult> CheckRunner(const RunnerUnderTest& runner);

/// Whether no rule failed, and at least one passed.
[[nodiscard]] QUILLMARK_API bool Passed(std::span<const RuleResult> results);

/// The results for people, a line each and three more for a rule that failed.
[[nodiscard]] QUILLMARK_API std::string ReportOf(std::span<const RuleResult> results);

}  // namespace quillmark::host
