// SPDX-License-Identifier: MIT
#include "quillmark/host/conformance.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

#include "host/conformance/rules.h"
#include "quillmark/host/runner.h"
#include "tests/host/conformance/flawed_runner.h"

namespace quillmark::host {
namespace {

using std::chrono::hours;
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

const std::vector<FlawedCase> kFlaws = {
    {"RunsAgain", Flaw::kRunsAgain, 1, kForms},
    {"KeepsTheSessionAlive", Flaw::kKeepsTheSessionAlive, 2, kForms},
    {"AcknowledgesTwice", Flaw::kAcknowledgesTwice, 2, kCan},
    {"CutsIdentifiers", Flaw::kCutsIdentifiers, 3, kPlain},
    {"SwapsIdentifiers", Flaw::kSwapsIdentifiers, 3, kCan},
    {"KnowsOneLine", Flaw::kKnowsOneLine, 3, kBehindGateway},
    {"TakesLateAnswers", Flaw::kTakesLateAnswers, 4, kForms},
    {"IgnoresLateRefusals", Flaw::kIgnoresLateRefusals, 4, kForms},
    {"TakesLatePendingForARefusal", Flaw::kTakesLatePendingForARefusal, 4, kForms},
    {"GivesUpEarly", Flaw::kGivesUpEarly, 5, kForms},
    {"GivesUpLate", Flaw::kGivesUpLate, 5, kForms},
    {"CountsP2FromTheRequest", Flaw::kCountsP2FromTheRequest, 5, kCan},
    {"TakesPendingForARefusal", Flaw::kTakesPendingForARefusal, 6, kForms},
    {"KnowsNoP2Star", Flaw::kKnowsNoP2Star, 6, kForms},
    {"LimitsNoPendings", Flaw::kLimitsNoPendings, 6, kForms},
    {"LimitsNoPendingTime", Flaw::kLimitsNoPendingTime, 6, kForms},
    {"FailsAtWait", Flaw::kFailsAtWait, 7, kPlain},
    {"LimitsNoWaits", Flaw::kLimitsNoWaits, 7, kPlain},
    {"WaitsOnAtOverflow", Flaw::kWaitsOnAtOverflow, 7, kPlain},
    {"KeepsNoSeparationTime", Flaw::kKeepsNoSeparationTime, 8, kPlain},
    {"TakesMicrosecondsForMilliseconds", Flaw::kTakesMicrosecondsForMilliseconds, 8, kPlain},
    {"SkipsWaits", Flaw::kSkipsWaits, 9, kForms},
    {"BreaksTooLong", Flaw::kBreaksTooLong, 9, kOnKLine},
    {"FailsAtForeignFrames", Flaw::kFailsAtForeignFrames, 10, kForms},
    {"FailsAtRepeatedFrames", Flaw::kFailsAtRepeatedFrames, 10, kPlain},
    {"WaitsLongerForForeignFrames", Flaw::kWaitsLongerForForeignFrames, 10, kForms},
    {"ChecksNothing", Flaw::kChecksNothing, 11, kForms},
    {"TakesFramesOutOfSequence", Flaw::kTakesFramesOutOfSequence, 11, kPlain},
    {"SendsIntoNoise", Flaw::kSendsIntoNoise, 11, kOnKLine},
    {"NeverStops", Flaw::kNeverStops, 12, kForms},
    {"StopsWithinARequest", Flaw::kStopsWithinARequest, 12, kCan},
    {"NeverRepeats", Flaw::kNeverRepeats, 13, kForms},
    {"RepeatsTooOften", Flaw::kRepeatsTooOften, 13, kForms},
    {"AwaitsOneAnswer", Flaw::kAwaitsOneAnswer, 13, kForms},
    {"AwaitsNoSilence", Flaw::kAwaitsNoSilence, 13, kForms},
    {"LeavesOutTheLastFrame", Flaw::kLeavesOutTheLastFrame, 14, kForms},
    {"WritesAnEmptyFrame", Flaw::kWritesAnEmptyFrame, 14, kForms},
    {"WritesLowerCase", Flaw::kWritesLowerCase, 14, kForms},
    {"GoesOnBehindARefusal", Flaw::kGoesOnBehindARefusal, 14, kForms},
};

INSTANTIATE_TEST_SUITE_P(Rules, FlawTest, ::testing::ValuesIn(kFlaws),
                         [](const auto& tested) { return tested.param.name; });

bool FailsForAFlawOfItsRule(const RuleTest& test, TransportForm form) {
  return std::any_of(kFlaws.begin(), kFlaws.end(), [&](const FlawedCase& flawed) {
    const RunnerUnderTest runner = RunnerWith(flawed.flaw);
    return flawed.rule == test.rule && test.run({runner, form});
  });
}

TEST(ConformanceTest, EveryTestOfTheKitFailsForAFlawOfItsRule) {
  for (const std::span<const RuleTest> group :
       {OrderRules(), TimeRules(), AnswerRules(), AbilityRules()}) {
    for (const RuleTest& test : group) {
      for (const TransportForm form : test.forms) {
        EXPECT_TRUE(FailsForAFlawOfItsRule(test, form))
            << test.rule << ' ' << NameOf(form) << ": " << test.name;
      }
    }
  }
}

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

RunnerUnderTest OurRunnerWith(const RunnerTiming& timing) {
  RunnerUnderTest runner;
  runner.run = [timing](const RunnerTask& task) {
    Runner own(task.bus, task.form, timing);
    static_cast<void>(own.Run(task.document));
  };
  runner.timing = timing;
  return runner;
}

TEST(ConformanceTest, ARunnerIsAsPatientAsItClaims) {
  const std::vector<RunnerTiming> timings = {
      {.p2 = milliseconds(50), .p2_star = milliseconds(500)},
      {.p2 = milliseconds(20), .p2_star = milliseconds(20), .pending_limit = milliseconds(40)},
      {.p2 = hours(1), .p2_star = hours(1), .max_pending = 1, .pending_limit = hours(24)},
      {.max_pending = 10'000, .max_wait_frames = 1},
  };
  for (const RunnerTiming& timing : timings) {
    const std::vector<RuleResult> results = CheckRunner(OurRunnerWith(timing));
    EXPECT_TRUE(Passed(results)) << ReportOf(results);
  }
}

TEST(ConformanceTest, ARunnerThatIsMorePatientThanItClaimsFailsForThat) {
  RunnerUnderTest slow = OurRunner();
  slow.timing = {.p2 = milliseconds(50), .p2_star = milliseconds(500)};
  EXPECT_THAT(With(RuleVerdict::kFailed, CheckRunner(slow)),
              ::testing::Contains(RuleInForm(5, TransportForm::kKLine)));
}

TEST(ConformanceTest, TimingOutOfRangeIsRefused) {
  const std::vector<RunnerTiming> wrong = {
      {.p2 = milliseconds(19)},
      {.p2_star = hours(2)},
      {.max_pending = 0},
      {.max_pending = 10'001},
      {.pending_limit = milliseconds(5999)},
      {.max_wait_frames = 0},
  };
  for (const RunnerTiming& timing : wrong) {
    RunnerUnderTest runner = RunnerWith(Flaw::kNone);
    runner.timing = timing;
    EXPECT_THROW(static_cast<void>(CheckRunner(runner)), std::invalid_argument);
  }
}

}  // namespace
}  // namespace quillmark::host
