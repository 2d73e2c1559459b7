// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "host/conformance/trial.h"
#include "quillmark/host/conformance.h"

namespace quillmark::host {

/// What a runner must be able to do so that a test of it makes sense.
enum class Ability : std::uint8_t { kNone, kStop, kRepeat };

/// The runner and the form that are tested.
struct Bench {
  const RunnerUnderTest& runner;
  TransportForm form;

  [[nodiscard]] Trial Run(const Exercise& exercise, const Conditions& conditions = {}) const {
    return {runner, exercise, conditions};
  }
};

/// One test of one rule.
struct RuleTest {
  int rule = 0;
  /// The forms that it is about.
  std::span<const TransportForm> forms{};
  Ability ability = Ability::kNone;
  const char* name = "";
  Finding (*run)(const Bench& bench) = nullptr;
};

inline constexpr std::array kAllForms = {TransportForm::kPlainCan, TransportForm::kGateway,
                                         TransportForm::kKLine};
inline constexpr std::array kCanForms = {TransportForm::kPlainCan, TransportForm::kGateway};
/// Those whose messages have a checksum.
inline constexpr std::array kCheckedForms = {TransportForm::kGateway, TransportForm::kKLine};
inline constexpr std::array kPlainCan = {TransportForm::kPlainCan};
inline constexpr std::array kGateway = {TransportForm::kGateway};
inline constexpr std::array kKLine = {TransportForm::kKLine};

/// The bytes in a block of a download.
inline constexpr int kBlock = 16;
/// Response codes: conditions not correct, and response pending.
inline constexpr std::uint8_t kRefused = 0x22;
inline constexpr std::uint8_t kPending = 0x78;

/// An ECU that just keeps a limit. A runner may take twice the limit until it gives up.
constexpr std::chrono::milliseconds JustBefore(std::chrono::milliseconds limit) {
  return limit * 9 / 10;
}

/// The first that there is.
[[nodiscard]] Finding FirstOf(std::initializer_list<Finding> findings);

/// A frame of plain CAN, padded.
[[nodiscard]] Bytes PlainFrame(std::initializer_list<std::uint8_t> bytes);

/// The turns of a request and its answer, so that they can happen again.
[[nodiscard]] std::vector<Turn> TurnsOf(const Exercise& exercise, std::size_t number);

/// Puts `count` frames, `interval` apart, in front of the answer to the first request, which
/// follows `interval` after the last. The first comes soon.
void Postpone(Exercise& exercise, const Bytes& frame, int count,
              std::chrono::milliseconds interval);

/// The same without the answer.
[[nodiscard]] Exercise Endless(Exercise exercise, const Bytes& frame, int count,
                               std::chrono::milliseconds interval);

/// The tests of rules 1 to 4, 5 to 9, 10, 11 and 14, 12 and 13.
[[nodiscard]] std::span<const RuleTest> OrderRules();
[[nodiscard]] std::span<const RuleTest> TimeRules();
[[nodiscard]] std::span<const RuleTest> AnswerRules();
[[nodiscard]] std::span<const RuleTest> AbilityRules();

}  // namespace quillmark::host
