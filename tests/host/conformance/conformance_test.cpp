// SPDX-License-Identifier: MIT
#include "quillmark/host/conformance.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

#include "quillmark/host/runner.h"
#include "tests/host/conformance/flawed_runner.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAreArray;

/// A rule in a form.
using RuleInForm = std::pair<int, TransportForm>;

const std::vector<TransportForm> kForms = {TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine};

// [adapter]
RunnerUnderTest OurRunner() {
  return {.run =
              [](const RunnerTask& task) {
                Runner runner(task.bus, task.form);
                runner.OnStopRequested(task.stop_requested);
                runner.OnTryDone([&task](const RequestTry& request_try) {
                  const bool may_repeat =
                      request_try.status == RunStatus::kSilence && request_try.number < task.tries;
                  return may_repeat ? NextMove::kRepeat : NextMove::kGoOn;
                });
                static_cast<void>(runner.Run(task.document));
              },
          .can_stop = true,
          .can_repeat = true};
}
// [adapter]

std::vector<RuleInForm> With(RuleVerdict verdict, const std::vector<RuleResult>& results) {
  std::vector<RuleInForm> rules;
  for (const RuleResult& result : results) {
    if (result.verdict == verdict) {
      rules.emplace_back(result.rule, result.form);
    }
  }
  return rules;
}

TEST(ConformanceTest, OurRunnerKeepsEveryRuleInEveryForm) {
  const std::vector<RuleResult> results = CheckRunner(OurRunner());
  EXPECT_TRUE(Passed(results)) << ReportOf(results);
  EXPECT_EQ(With(RuleVerdict::kPassed, results).size(), results.size());
  std::set<int> rules;
  for (const RuleResult& result : results) {
    rules.insert(result.rule);
  }
  EXPECT_EQ(rules.size(), 14U);
}

TEST(ConformanceTest, RulesHaveTheNamesAndNumbersOfThePage) {
  std::ifstream file(QUILLMARK_DOCUMENTS_PAGE);
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  for (const RuleResult& result : CheckRunner(OurRunner())) {
    EXPECT_THAT(page, HasSubstr("\n" + std::to_string(result.rule) + ". **" + result.name));
  }
}

TEST(ConformanceTest, TheRunnerOfTheTestsKeepsEveryRuleWithoutAFlaw) {
  const std::vector<RuleResult> results = CheckRunner(RunnerWith(Flaw::kNone));
  EXPECT_TRUE(Passed(results)) << ReportOf(results);
}

struct FlawedCase {
  const char* name;
  Flaw flaw;
  int rule;
  std::vector<TransportForm> forms;
};

class FlawTest : public ::testing::TestWithParam<FlawedCase> {};

TEST_P(FlawTest, FailsItsRuleAloneInEveryFormThatItConcerns) {
  const std::vector<RuleResult> results = CheckRunner(RunnerWith(GetParam().flaw));
  std::vector<RuleInForm> expected;
  for (const TransportForm form : GetParam().forms) {
    expected.emplace_back(GetParam().rule, form);
  }
  EXPECT_THAT(With(RuleVerdict::kFailed, results), UnorderedElementsAreArray(expected))
      << ReportOf(results);
}

const std::vector<TransportForm> kCan = {TransportForm::kPlainCan, TransportForm::kGateway};
const std::vector<TransportForm> kPlain = {TransportForm::kPlainCan};
const std::vector<TransportForm> kBehindGateway = {TransportForm::kGateway};
const std::vector<TransportForm> kOnKLine = {TransportForm::kKLine};

INSTANTIATE_TEST_SUITE_P(
    Rules, FlawTest,
    ::testing::Values(
        FlawedCase{"RunsAgain", Flaw::kRunsAgain, 1, kForms},
        FlawedCase{"KeepsTheSessionAlive", Flaw::kKeepsTheSessionAlive, 2, kForms},
        FlawedCase{"AcknowledgesTwice", Flaw::kAcknowledgesTwice, 2, kCan},
        FlawedCase{"CutsIdentifiers", Flaw::kCutsIdentifiers, 3, kPlain},
        FlawedCase{"KnowsOneLine", Flaw::kKnowsOneLine, 3, kBehindGateway},
        FlawedCase{"TakesLateAnswers", Flaw::kTakesLateAnswers, 4, kForms},
        FlawedCase{"IgnoresLateRefusals", Flaw::kIgnoresLateRefusals, 4, kForms},
        FlawedCase{"GivesUpEarly", Flaw::kGivesUpEarly, 5, kForms},
        FlawedCase{"GivesUpLate", Flaw::kGivesUpLate, 5, kForms},
        FlawedCase{"CountsP2FromTheRequest", Flaw::kCountsP2FromTheRequest, 5, kCan},
        FlawedCase{"TakesPendingForARefusal", Flaw::kTakesPendingForARefusal, 6, kForms},
        FlawedCase{"KnowsNoP2Star", Flaw::kKnowsNoP2Star, 6, kForms},
        FlawedCase{"LimitsNoPendings", Flaw::kLimitsNoPendings, 6, kForms},
        FlawedCase{"LimitsNoPendingTime", Flaw::kLimitsNoPendingTime, 6, kForms},
        FlawedCase{"FailsAtWait", Flaw::kFailsAtWait, 7, kPlain},
        FlawedCase{"LimitsNoWaits", Flaw::kLimitsNoWaits, 7, kPlain},
        FlawedCase{"WaitsOnAtOverflow", Flaw::kWaitsOnAtOverflow, 7, kPlain},
        FlawedCase{"KeepsNoSeparationTime", Flaw::kKeepsNoSeparationTime, 8, kPlain},
        FlawedCase{"TakesMicrosecondsForMilliseconds", Flaw::kTakesMicrosecondsForMilliseconds, 8,
                   kPlain},
        FlawedCase{"SkipsWaits", Flaw::kSkipsWaits, 9, kForms},
        FlawedCase{"BreaksTooLong", Flaw::kBreaksTooLong, 9, kOnKLine},
        FlawedCase{"FailsAtForeignFrames", Flaw::kFailsAtForeignFrames, 10, kForms},
        FlawedCase{"FailsAtRepeatedFrames", Flaw::kFailsAtRepeatedFrames, 10, kPlain},
        FlawedCase{"WaitsLongerForForeignFrames", Flaw::kWaitsLongerForForeignFrames, 10, kForms},
        FlawedCase{"ChecksNothing", Flaw::kChecksNothing, 11, kForms},
        FlawedCase{"SendsIntoNoise", Flaw::kSendsIntoNoise, 11, kOnKLine},
        FlawedCase{"NeverStops", Flaw::kNeverStops, 12, kForms},
        FlawedCase{"StopsWithinARequest", Flaw::kStopsWithinARequest, 12, kCan},
        FlawedCase{"NeverRepeats", Flaw::kNeverRepeats, 13, kForms},
        FlawedCase{"RepeatsTooOften", Flaw::kRepeatsTooOften, 13, kForms},
        FlawedCase{"AwaitsOneAnswer", Flaw::kAwaitsOneAnswer, 13, kForms},
        FlawedCase{"AwaitsNoSilence", Flaw::kAwaitsNoSilence, 13, kForms},
        FlawedCase{"LeavesOutTheLastFrame", Flaw::kLeavesOutTheLastFrame, 14, kForms},
        FlawedCase{"WritesLowerCase", Flaw::kWritesLowerCase, 14, kForms},
        FlawedCase{"GoesOnBehindARefusal", Flaw::kGoesOnBehindARefusal, 14, kForms}),
    [](const auto& tested) { return tested.param.name; });

TEST(ConformanceTest, AnAbilityThatIsNotClaimedIsNotTested) {
  RunnerUnderTest runner = RunnerWith(Flaw::kNone);
  runner.can_stop = false;
  runner.can_repeat = false;
  std::vector<RuleInForm> expected;
  for (const TransportForm form : kForms) {
    expected.emplace_back(12, form);
    expected.emplace_back(13, form);
  }
  const std::vector<RuleResult> results = CheckRunner(runner);
  EXPECT_THAT(With(RuleVerdict::kNotClaimed, results), UnorderedElementsAreArray(expected));
  EXPECT_TRUE(Passed(results)) << ReportOf(results);
}

TEST(ConformanceTest, ARunnerIsTestedInItsFormsAlone) {
  RunnerUnderTest runner = RunnerWith(Flaw::kNone);
  runner.forms = {TransportForm::kKLine};
  for (const RuleResult& result : CheckRunner(runner)) {
    EXPECT_EQ(result.form, TransportForm::kKLine);
  }
  runner.forms = {};
  EXPECT_FALSE(Passed(CheckRunner(runner)));
}

TEST(ConformanceTest, ARunnerThatDoesNothingPassesNothing) {
  RunnerUnderTest idle;
  idle.run = [](const RunnerTask&) {};
  EXPECT_THAT(With(RuleVerdict::kPassed, CheckRunner(idle)), ::testing::IsEmpty());
}

TEST(ConformanceTest, ARunThatDoesNotEndIsEndedByItsBus) {
  RunnerUnderTest endless;
  endless.forms = {TransportForm::kKLine};
  endless.run = [](const RunnerTask& task) {
    for (;;) {
      static_cast<void>(task.bus.Receive(milliseconds(0)));
    }
  };
  EXPECT_THAT(ReportOf(CheckRunner(endless)), HasSubstr("the run did not end"));
}

TEST(ConformanceTest, WhatARunnerRaisesIsInTheReport) {
  RunnerUnderTest raising;
  raising.run = [](const RunnerTask&) { throw std::runtime_error("no idea"); };
  EXPECT_THAT(ReportOf(CheckRunner(raising)), HasSubstr("the runner raised \"no idea\""));
}

TEST(ConformanceTest, ARunnersOwnPatienceIsTested) {
  RunnerUnderTest hasty = OurRunner();
  hasty.timing = {.p2 = milliseconds(50), .p2_star = milliseconds(500)};
  EXPECT_THAT(With(RuleVerdict::kFailed, CheckRunner(hasty)),
              ::testing::Contains(RuleInForm(5, TransportForm::kKLine)));
  hasty.run = [timing = hasty.timing](const RunnerTask& task) {
    Runner runner(task.bus, task.form, timing);
    static_cast<void>(runner.Run(task.document));
  };
  hasty.can_stop = false;
  hasty.can_repeat = false;
  const std::vector<RuleResult> results = CheckRunner(hasty);
  EXPECT_TRUE(Passed(results)) << ReportOf(results);
}

TEST(ConformanceTest, TimingOutOfRangeIsRefused) {
  const std::vector<RunnerTiming> wrong = {
      {.p2 = milliseconds(19)}, {.p2_star = std::chrono::hours(2)},    {.max_pending = 0},
      {.max_pending = 10'001},  {.pending_limit = milliseconds(5999)}, {.max_wait_frames = 0},
  };
  for (const RunnerTiming& timing : wrong) {
    RunnerUnderTest runner = RunnerWith(Flaw::kNone);
    runner.timing = timing;
    EXPECT_THROW(static_cast<void>(CheckRunner(runner)), std::invalid_argument);
  }
}

}  // namespace
}  // namespace quillmark::host
