// SPDX-License-Identifier: MIT
#include "host/runner/runner.h"

#include <gmock/gmock.h>

#include "quillmark/portable_platform.h"
#include "runner/scripted_bus.h"
#include "support/expect_error.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

class RunnerTest : public ::testing::Test {
 protected:
  /// Runs the steps of a document and leaves what became of it in `xml_`.
  RunOutcome RunSteps(TransportForm form, const std::string& head, const std::string& steps,
                      const std::string& tail) {
    const std::shared_ptr<DOMDocument> document = CreatePortablePlatform()->CreateDOMDocument();
    document->loadXML(head + steps + tail);
    Runner runner(bus_, form, timing_);
    runner.OnStopRequested(stop_requested_);
    runner.OnRequestDone([this](ByteView request) { done_.push_back(HexOf(request)); });
    RunOutcome outcome = runner.Run(*document);
    xml_ = document->xml();
    xml_.erase(0, head.size());
    xml_.resize(xml_.size() - tail.size());
    return outcome;
  }
  RunOutcome RunCan(const std::string& steps) {
    return RunSteps(TransportForm::kPlainCan, "<can><x i=\"1850\"><i>1586</i>", steps,
                    "</x></can>");
  }
  RunOutcome RunGateway(const std::string& steps) {
    return RunSteps(TransportForm::kGateway, "<can><x i=\"3\"><i>13</i>", steps, "</x></can>");
  }
  RunOutcome RunKLine(const std::string& steps) {
    return RunSteps(TransportForm::kKLine, "<k>", steps, "</k>");
  }

  static constexpr const char* kStartSession = "<s><d>0210C00000000000</d></s><r><c>0250C0</c></r>";

  ScriptedBus bus_;
  RunnerTiming timing_;
  Runner::StopRequested stop_requested_;
  std::string xml_;
  std::vector<std::string> done_;
};

TEST_F(RunnerTest, WritesTheReceivedFrameIntoTheDocument) {
  bus_.frames = {"0250C0AAAAAAAAAA"};
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.step, 0U);
  EXPECT_EQ(outcome.reason, "");
  EXPECT_EQ(HexOf(outcome.request), "10C0");
  EXPECT_EQ(outcome.elapsed, 11ms);
  EXPECT_EQ(xml_, "<s><d>0210C00000000000</d></s><r><c>0250C0</c><d>0250C0AAAAAAAAAA</d></r>");
  EXPECT_THAT(bus_.log,
              ElementsAre("select 1850 1586", "discard", "send 0210C00000000000", "receive 1000"));
}

TEST_F(RunnerTest, ExecutesWaitsAndBreaksInTheirOrder) {
  bus_.frames = {"83F111C16B8F40"};
  EXPECT_TRUE(RunKLine("<bk>25</bk><w>26</w><s><d>8111F18104</d></s><r><c>83F111C1</c></r><w>5</w>")
                  .complete());
  EXPECT_THAT(bus_.log, ElementsAre("select 0 0", "break 25", "wait 26", "discard",
                                    "send 8111F18104", "receive 1000", "wait 5"));
}

TEST_F(RunnerTest, CompletesADocumentWithoutSteps) {
  const RunOutcome outcome = RunCan("");
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.elapsed, 0ms);
  EXPECT_THAT(bus_.log, ElementsAre());
  EXPECT_THAT(done_, ElementsAre());
}

TEST_F(RunnerTest, RefusesADocumentBeforeItSendsAnything) {
  EXPECT_ERROR(RunCan(std::string(kStartSession) + "<z/>"), 13,
               "not a request document: \"z\" is no step");
  EXPECT_THAT(bus_.log, ElementsAre());
}

TEST_F(RunnerTest, StopsAtSilence) {
  const RunOutcome outcome = RunCan(std::string(kStartSession) + kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kSilence);
  EXPECT_EQ(outcome.step, 2U);
  EXPECT_EQ(outcome.reason, "no frame within 1000 ms, expected 0250C0");
  EXPECT_EQ(outcome.frame, Bytes{});
  EXPECT_EQ(outcome.elapsed, 1001ms);
  EXPECT_EQ(xml_,
            "<s><d>0210C00000000000</d></s><r><c>0250C0</c><e>no frame within 1000 ms, "
            "expected 0250C0</e></r>" +
                std::string(kStartSession));
  EXPECT_THAT(done_, ElementsAre());
}

TEST_F(RunnerTest, StopsAtSilenceWhereAnyFrameWouldDo) {
  const RunOutcome outcome = RunGateway("<s><d>81</d></s><r><c></c></r>");
  EXPECT_EQ(outcome.reason, "no frame within 1000 ms");
}

TEST_F(RunnerTest, StopsAtAnUnexpectedFrameAndKeepsIt) {
  bus_.frames = {"037F1012AAAAAAAA", "0250C0AAAAAAAAAA"};
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kUnexpectedFrame);
  EXPECT_EQ(outcome.step, 2U);
  EXPECT_EQ(outcome.reason, "received 037F1012AAAAAAAA, expected 0250C0");
  EXPECT_EQ(HexOf(outcome.frame), "037F1012AAAAAAAA");
  EXPECT_EQ(outcome.response_code, 0x12);
  EXPECT_EQ(xml_,
            "<s><d>0210C00000000000</d></s><r><c>0250C0</c><d>037F1012AAAAAAAA</d>"
            "<e>received 037F1012AAAAAAAA, expected 0250C0</e></r>");
}

TEST_F(RunnerTest, TakesAFrameShorterThanExpectedForUnexpected) {
  bus_.frames = {"0250"};
  EXPECT_EQ(RunCan(kStartSession).status, RunStatus::kUnexpectedFrame);
}

TEST_F(RunnerTest, TakesAnEmptyFrameForUnexpectedAndDoesNotWriteIt) {
  bus_.frames = {""};
  const RunOutcome outcome = RunGateway("<r><c></c></r>");
  EXPECT_EQ(outcome.status, RunStatus::kUnexpectedFrame);
  EXPECT_EQ(xml_, "<r><c/><e>received an empty frame</e></r>");
}

TEST_F(RunnerTest, LeavesTheNextFrameOfAPollInPlaceForItsCheck) {
  bus_.frames = {"03718101AAAAAAAA"};
  const RunOutcome outcome = RunCan("<s><d>0331810100000000</d></s><r><c>03718102</c></r>");
  EXPECT_EQ(outcome.status, RunStatus::kUnexpectedFrame);
  EXPECT_EQ(outcome.response_code, std::nullopt);
  EXPECT_THAT(xml_, ::testing::HasSubstr("<c>03718102</c><d>03718101AAAAAAAA</d><e>"));
}

TEST_F(RunnerTest, WaitsOnThroughResponsePending) {
  bus_.frames = {"037F3178AAAAAAAA", "037F3178AAAAAAAA", "03718101AAAAAAAA"};
  EXPECT_TRUE(RunCan("<s><d>05318100F05A0000</d></s><r><c>03718101</c></r>").complete());
  EXPECT_THAT(bus_.log, ElementsAre("select 1850 1586", "discard", "send 05318100F05A0000",
                                    "receive 1000", "receive 5000", "receive 5000"));
  EXPECT_THAT(xml_, ::testing::EndsWith("<c>03718101</c><d>03718101AAAAAAAA</d></r>"));
}

TEST_F(RunnerTest, KnowsResponsePendingInTheOtherForms) {
  bus_.frames = {"0183F16E7F3E789A", "0181F16E7E5E"};
  EXPECT_TRUE(RunGateway("<s><d>01816EF13E1E</d></s><r><c>0181F16E7E5E</c></r>").complete());
  bus_.frames = {"83F1117F3E78BA", "81F1117E01"};
  EXPECT_TRUE(RunKLine("<s><d>8111F13EC1</d></s><r><c>81F1117E01</c></r>").complete());
}

TEST_F(RunnerTest, TakesSilenceAfterResponsePendingForSilence) {
  bus_.frames = {"037F3178AAAAAAAA"};
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kSilence);
  EXPECT_EQ(outcome.reason, "no frame within 5000 ms, expected 0250C0");
}

TEST_F(RunnerTest, GivesUpAfterTooManyResponsesPending) {
  timing_.max_pending = 2;
  bus_.frames = {"037F1078AAAAAAAA", "037F1078AAAAAAAA", "037F1078AAAAAAAA", "0250C0AAAAAAAAAA"};
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kPendingTooLong);
  EXPECT_EQ(outcome.response_code, 0x78);
  EXPECT_THAT(xml_, ::testing::HasSubstr("<d>037F1078AAAAAAAA</d><e>received 037F1078AAAAAAAA"));
}

TEST_F(RunnerTest, GivesUpAfterPendingForTooLong) {
  timing_.pending_limit = 25ms;
  bus_.frames = {"037F1078AAAAAAAA", "037F1078AAAAAAAA", "037F1078AAAAAAAA", "0250C0AAAAAAAAAA"};
  EXPECT_EQ(RunCan(kStartSession).status, RunStatus::kPendingTooLong);
}

TEST_F(RunnerTest, ReportsABusThatFails) {
  bus_.fails_to_send = true;
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kBusError);
  EXPECT_EQ(outcome.step, 1U);
  EXPECT_EQ(outcome.reason, "the adapter is gone");
  EXPECT_EQ(xml_, "<s><d>0210C00000000000</d><e>the adapter is gone</e></s><r><c>0250C0</c></r>");
}

TEST_F(RunnerTest, StopsBetweenRequestsOnDemand) {
  bus_.frames = {"0250C0AAAAAAAAAA", "0250C0AAAAAAAAAA"};
  int asked = 0;
  stop_requested_ = [&] { return ++asked == 2; };
  const RunOutcome outcome = RunCan(std::string(kStartSession) + kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kStopped);
  EXPECT_EQ(outcome.step, 3U);
  EXPECT_THAT(xml_, ::testing::HasSubstr("<e>stopped before this request</e>"));
  EXPECT_THAT(done_, ElementsAre("10C0"));
  EXPECT_EQ(bus_.frames.size(), 1U);
}

TEST_F(RunnerTest, NeverStopsInsideARequest) {
  bus_.frames = {"300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  int asked = 0;
  stop_requested_ = [&] { return ++asked == 2; };
  EXPECT_TRUE(
      RunCan("<s><d>1009340000100001</d></s><r><c>3001</c></r><s><d>2101004700000000</d></s>"
             "<r><c>027402</c></r>")
          .complete());
}

TEST_F(RunnerTest, ReportsEachRequestOnceItIsAnswered) {
  bus_.frames = {"0250C0AAAAAAAAAA", "017EAAAAAAAAAAAA"};
  RunCan(std::string(kStartSession) + "<s><d>013E000000000000</d></s><r><c>017E</c></r>");
  EXPECT_THAT(done_, ElementsAre("10C0", "3E"));
}

TEST_F(RunnerTest, DropsWhatArrivedBeforeItAnswers) {
  bus_.frames = {"300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  RunCan(
      "<s><d>1009340000100001</d></s><r><c>3001</c></r><s><d>2101004700000000</d></s>"
      "<s><d>2201004700000000</d></s><r><c>027402</c></r>");
  EXPECT_THAT(bus_.log, ElementsAre("select 1850 1586", "discard", "send 1009340000100001",
                                    "receive 1000", "discard", "send 2101004700000000",
                                    "send 2201004700000000", "receive 1000"));
}

}  // namespace
}  // namespace quillmark::host
