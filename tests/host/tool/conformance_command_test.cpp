// SPDX-License-Identifier: MIT
// A runner in another process.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class Conformance : public ToolTest {
 protected:
  /// The runner is a script for the shell.
  ToolResult RunScript(const std::string& script) {
    return Run({"conformance", "--", "sh", "-c", script});
  }
  void ExpectUnusable(const std::string& script, const std::string& reason) {
    const ToolResult result = RunScript(script);
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("quillmark: runner \"sh\": " + reason));
  }
};

TEST_F(Conformance, OurRunnerPassesInEveryFormAsAnotherProcess) {
  const ToolResult result =
      Run({"conformance", "--can-stop", "--can-repeat", QUILLMARK_LINE_RUNNER});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("Form can\n"), HasSubstr("Form gateway\n"), HasSubstr("Form kline\n"),
                    Not(HasSubstr("FAILED")), Not(HasSubstr("not claimed"))));
}

TEST_F(Conformance, WhatIsNotClaimedIsNotTested) {
  const ToolResult result = Run({"conformance", "--form", "kline", QUILLMARK_LINE_RUNNER});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("  12  Stops                                 not claimed"),
                    HasSubstr("  13  Repetition                            not claimed"),
                    Not(HasSubstr("Form can"))));
}

TEST_F(Conformance, ARunnerThatBreaksRulesIsADifference) {
  const ToolResult result = RunScript("while read line; do echo done ${line#* * * }; done");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("   2  In order                              FAILED\n"
                                    "      test      two requests with short answers\n"));
  EXPECT_THAT(result.err, HasSubstr("quillmark: the runner breaks "));
}

/// A line of JSON for each event.
std::vector<nlohmann::json> EventsOf(const ToolResult& result) {
  std::vector<nlohmann::json> events;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    events.push_back(nlohmann::json::parse(line));
  }
  return events;
}

TEST_F(Conformance, TellsMachinesEveryRuleAndTheCountOfEachVerdict) {
  const ToolResult result =
      Run({"conformance", "--json", "--form", "kline", QUILLMARK_LINE_RUNNER});
  EXPECT_EQ(result.status, 0) << result.err;
  const std::vector<nlohmann::json> events = EventsOf(result);
  ASSERT_EQ(events.size(), 12U);
  EXPECT_EQ(events[0], nlohmann::json::parse(R"({"event": "rule", "rule": 1, "name": "Once",
                                                 "form": "kline", "verdict": "passed"})"));
  EXPECT_EQ(events.back(),
            nlohmann::json::parse(R"({"event": "done", "passed": 9, "not_claimed": 2})"));
}

TEST_F(Conformance, TellsMachinesHowARuleIsBroken) {
  const ToolResult result = Run({"conformance", "--json", "--form", "can", "--", "sh", "-c",
                                 "while read line; do echo done ${line#* * * }; done"});
  EXPECT_EQ(result.status, 1);
  const std::vector<nlohmann::json> events = EventsOf(result);
  ASSERT_GE(events.size(), 3U);
  const nlohmann::json& broken = events[1];
  EXPECT_EQ(broken["rule"], 2);
  EXPECT_EQ(broken["verdict"], "failed");
  EXPECT_EQ(broken["test"], "two requests with short answers");
  EXPECT_NE(broken["expected"], "");
  EXPECT_NE(broken["found"], "");
  EXPECT_EQ(events.back()["event"], "error");
  EXPECT_EQ(events.back()["exit"], 1);
}

TEST_F(Conformance, ADocumentOfAnotherFormIsReported) {
  const ToolResult result = RunScript("while read line; do echo 'done <can/>'; done");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("the document can no longer be read: not a request document"));
}

TEST_F(Conformance, ARunnerThatCannotBeStarted) {
  const ToolResult result = Run({"conformance", "no-such-runner"});
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.err, HasSubstr("\"no-such-runner\" cannot be started: No such file"));
}

TEST_F(Conformance, ARunnerThatEnds) {
  ExpectUnusable("read line; exit 3", "it ended with status 3 before it had written done");
  ExpectUnusable("kill -9 $$", "it was ended by signal 9 before it had written done");
}

TEST_F(Conformance, ARunnerThatWritesSomethingElse) {
  ExpectUnusable("echo hello; cat",
                 "expected select, send, receive, wait, break, now, stop or done "
                 "with their arguments, found \"hello\"");
  ExpectUnusable("echo send 0G; cat", "expected select, send");
  ExpectUnusable("echo send; cat", "expected select, send");
  ExpectUnusable("echo receive -1; cat", "expected select, send");
  ExpectUnusable("echo select 5; cat", "expected select, send");
  ExpectUnusable("echo 'done <can'; cat", "expected done with the document, found \"done <can\"");
}

TEST_F(Conformance, WhatARunnerWritesIsNotActedUponByATerminal) {
  ExpectUnusable("printf '\\033[2J\\n'; cat",
                 "expected select, send, receive, wait, break, now, stop or "
                 "done with their arguments, found \"\\u001b[2J\"");
}

TEST_F(Conformance, ARunnerThatGoesOnAfterItsBusHasFailed) {
  ExpectUnusable("while echo receive 4000000000; do read line || exit; done",
                 "it goes on after its bus has failed");
}

TEST_F(Conformance, ALimitThatIsTooShort) {
  const ToolResult result = Run({"conformance", "--pending-limit", "5999", "true"});
  EXPECT_EQ(result.status, 64);
  EXPECT_THAT(result.err, HasSubstr("--pending-limit: the runner's limit for responses pending"));
}

}  // namespace
}  // namespace quillmark::host::testing
