// SPDX-License-Identifier: MIT
#include "quillmark/host/conformance.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "host/conformance/rules.h"

namespace quillmark::host {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

/// By number, the first of 1, in the words of the page.
constexpr std::array<std::string_view, 14> kRuleNames = {"Once",
                                                         "In order",
                                                         "Identifiers",
                                                         "Before a request",
                                                         "P2",
                                                         "Response pending",
                                                         "Flow status",
                                                         "Separation time",
                                                         "Waits and breaks",
                                                         "What answers nothing is passed over",
                                                         "Damage",
                                                         "Stops",
                                                         "Repetition",
                                                         "Results"};

void CheckRange(std::string_view name, auto value, auto least, auto most) {
  if (value < least || value > most) {
    throw std::invalid_argument("the runner's " + std::string(name) + " is out of range");
  }
}

void CheckTiming(const RunnerTiming& timing) {
  constexpr milliseconds kShortest{20};
  constexpr int kMostFrames = 10'000;
  CheckRange("P2", timing.p2, kShortest, milliseconds(hours(1)));
  CheckRange("P2*", timing.p2_star, kShortest, milliseconds(hours(1)));
  CheckRange("limit for responses pending", timing.pending_limit, timing.p2 + timing.p2_star,
             milliseconds(hours(24)));
  CheckRange("number of responses pending", timing.max_pending, 1, kMostFrames);
  CheckRange("number of flow controls \"wait\"", timing.max_wait_frames, 1, kMostFrames);
}

std::vector<RuleTest> TestsOf(int rule, TransportForm form) {
  std::vector<RuleTest> tests;
  for (const std::span<const RuleTest> group :
       {OrderRules(), TimeRules(), AnswerRules(), AbilityRules()}) {
    std::copy_if(group.begin(), group.end(), std::back_inserter(tests), [&](const RuleTest& test) {
      return test.rule == rule &&
             std::find(test.forms.begin(), test.forms.end(), form) != test.forms.end();
    });
  }
  return tests;
}

bool Claims(const RunnerUnderTest& runner, Ability ability) {
  return ability == Ability::kNone ||
         (ability == Ability::kStop ? runner.can_stop : runner.can_repeat);
}

RuleResult CheckRule(const RunnerUnderTest& runner, TransportForm form, int rule,
                     const std::vector<RuleTest>& tests) {
  RuleResult result{.rule = rule,
                    .name = std::string(kRuleNames[static_cast<std::size_t>(rule) - 1]),
                    .form = form};
  for (const RuleTest& test : tests) {
    if (!Claims(runner, test.ability)) {
      result.verdict = RuleVerdict::kNotClaimed;
      return result;
    }
    if (const Finding finding = test.run({runner, form})) {
      result.verdict = RuleVerdict::kFailed;
      result.test = test.name;
      result.expected = finding->expected;
      result.found = finding->found;
      return result;
    }
  }
  return result;
}

std::string_view WordOf(RuleVerdict verdict) {
  switch (verdict) {
    case RuleVerdict::kPassed:
      return "passed";
    case RuleVerdict::kFailed:
      return "FAILED";
    default:
      return "not claimed";
  }
}

std::string LineOf(const RuleResult& result) {
  constexpr std::size_t kNameWidth = 38;
  std::string line = result.rule < 10 ? "   " : "  ";
  line += std::to_string(result.rule) + "  " + result.name;
  line.resize(std::max(line.size() + 1, kNameWidth + 6), ' ');
  line += std::string(WordOf(result.verdict)) + '\n';
  if (result.verdict == RuleVerdict::kFailed) {
    line += "      test      " + result.test + "\n      expected  " + result.expected +
            "\n      found     " + result.found + '\n';
  }
  return line;
}

}  // namespace

std::vector<RuleResult> CheckRunner(const RunnerUnderTest& runner) {
  CheckTiming(runner.timing);
  std::vector<RuleResult> results;
  for (const TransportForm form : runner.forms) {
    for (int rule = 1; rule <= static_cast<int>(kRuleNames.size()); ++rule) {
      const std::vector<RuleTest> tests = TestsOf(rule, form);
      if (!tests.empty()) {
        results.push_back(CheckRule(runner, form, rule, tests));
      }
    }
  }
  return results;
}

bool Passed(std::span<const RuleResult> results) {
  const auto has = [&](RuleVerdict verdict) {
    return std::any_of(results.begin(), results.end(),
                       [&](const RuleResult& result) { return result.verdict == verdict; });
  };
  return has(RuleVerdict::kPassed) && !has(RuleVerdict::kFailed);
}

std::string ReportOf(std::span<const RuleResult> results) {
  std::string text;
  std::optional<TransportForm> form;
  for (const RuleResult& result : results) {
    if (form != result.form) {
      form = result.form;
      text += std::string("Form ") + NameOf(*form) + '\n';
    }
    text += LineOf(result);
  }
  return text;
}

}  // namespace quillmark::host
