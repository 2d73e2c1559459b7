// SPDX-License-Identifier: MIT
#include "quillmark/host/runner.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "quillmark/host/bus.h"
#include "quillmark/portable_platform.h"
#include "support/expect_error.h"

namespace quillmark::host {
namespace {

/// A bus that hands out prepared frames and records what is done with it, a line each.
class ScriptedBus : public Bus {
 public:
  void Select(const Exchange& exchange) override {
    log.push_back("select " + std::to_string(exchange.receive) + " " +
                  std::to_string(exchange.send));
  }
  void Send(ByteView frame) override {
    if (fails_to_send) {
      throw BusError("the adapter is gone");
    }
    log.push_back("send " + HexOf(frame));
    now_ += std::chrono::milliseconds(1);
    if (!doubts.empty()) {
      throw DoubtfulFrame(doubts);
    }
  }
  std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    log.push_back("receive " + std::to_string(timeout.count()));
    const bool only_what_has_arrived = timeout.count() == 0;
    if (only_what_has_arrived) {
      return Next(arrived);
    }
    const auto pause = std::find(pauses_after.begin(), pauses_after.end(), given_);
    if (frames.empty() || pause != pauses_after.end()) {
      if (pause != pauses_after.end()) {
        pauses_after.erase(pause);
      }
      now_ += timeout;
      return std::nullopt;
    }
    now_ += answer_time;
    ++given_;
    for (const auto& [number, frame] : after) {
      if (number == given_) {
        arrived.push_back(frame);
      }
    }
    return Next(frames);
  }
  void Wait(std::chrono::milliseconds time) override {
    log.push_back("wait " + std::to_string(time.count()));
    now_ += time;
  }
  void Break(std::chrono::milliseconds low) override {
    log.push_back("break " + std::to_string(low.count()));
    now_ += low;
  }
  [[nodiscard]] Duration Now() const override { return now_; }

  /// What comes to a tester that waits for it, and what has arrived before a frame is sent.
  std::deque<std::string> frames;
  std::deque<std::string> arrived;
  /// Frames that arrive, unawaited, right after so many were given.
  std::vector<std::pair<int, std::string>> after;
  /// After so many frames there is silence once.
  std::vector<int> pauses_after;
  /// What the bus says of every frame that it sends; empty where it is sure.
  std::string doubts;
  std::vector<std::string> log;
  bool fails_to_send = false;
  std::chrono::milliseconds answer_time{10};

 private:
  static std::optional<Bytes> Next(std::deque<std::string>& frames) {
    if (frames.empty()) {
      return std::nullopt;
    }
    const Bytes frame = BytesOfHex(frames.front()).value();
    frames.pop_front();
    return frame;
  }

  int given_ = 0;
  Duration now_{std::chrono::seconds(100)};
};

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
    runner.OnTryDone(try_done_);
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
  Runner::TryDone try_done_;
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
  EXPECT_THAT(bus_.log, ElementsAre("select 1850 1586", "receive 0", "send 0210C00000000000",
                                    "receive 1000"));
}

TEST_F(RunnerTest, RefusesADocumentOfAnotherForm) {
  EXPECT_ERROR(RunSteps(TransportForm::kPlainCan, "<k>", "", "</k>"), 13,
               "not a request document: its root is \"k\", not \"can\"");
  EXPECT_ERROR(RunSteps(TransportForm::kKLine, "<can><x i=\"3\"><i>13</i>", "", "</x></can>"), 13,
               "not a request document: its root is \"can\", not \"k\"");
}

TEST_F(RunnerTest, RefusesADocumentThatHasBeenRun) {
  EXPECT_ERROR(RunKLine("<r><c>01</c><d>01</d></r>"), 13,
               "not a request document: it has been run before");
  EXPECT_ERROR(RunKLine("<r><c>01</c><e>silence</e></r>"), 13,
               "not a request document: it has been run before");
}

TEST_F(RunnerTest, ExecutesWaitsAndBreaksInTheirOrder) {
  bus_.frames = {"83F111C16B8F40"};
  EXPECT_TRUE(RunKLine("<bk>25</bk><w>26</w><s><d>8111F18104</d></s><r><c>83F111C1</c></r><w>5</w>")
                  .complete());
  EXPECT_THAT(bus_.log, ElementsAre("select 0 0", "break 25", "wait 26", "receive 0",
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

TEST_F(RunnerTest, SaysWhatIsWrongWithAFrameThatIsCutOff) {
  bus_.frames = {"0250"};
  EXPECT_EQ(RunCan(kStartSession).status, RunStatus::kDamagedReply);
  EXPECT_THAT(xml_, ::testing::EndsWith("<c>0250C0</c><d>0250</d><e>received 0250, expected "
                                        "0250C0: it is cut off</e></r>"));
}

TEST_F(RunnerTest, PassesOverFramesThatAnswerNothing) {
  bus_.frames = {"",
                 "0210C00000000000",
                 "300100AAAAAAAAAA",
                 "2101020304050607",
                 "017EAAAAAAAAAAAA",
                 "037F2178AAAAAAAA",
                 "0250C0AAAAAAAAAA"};
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.passed_over, 6U);
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
  EXPECT_THAT(bus_.log, ElementsAre("select 1850 1586", "receive 0", "send 05318100F05A0000",
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
  bus_.frames = {"037F1078AAAAAAAA"};
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
  EXPECT_THAT(bus_.log, ElementsAre("select 1850 1586", "receive 0", "send 1009340000100001",
                                    "receive 1000", "receive 0", "send 2101004700000000",
                                    "send 2201004700000000", "receive 1000"));
}

constexpr const char* kTwoBlocks =
    "<s><d>1009340000100001</d></s><r><c>3001</c></r><s><d>2101004700000000</d></s>"
    "<r><c>027402</c></r><s><d>1009340000100101</d></s><r><c>3001</c></r>"
    "<s><d>2102004800000000</d></s><r><c>027402</c></r>";

TEST_F(RunnerTest, FailsWhereARequestIsRefusedAfterItsAnswer) {
  bus_.frames = {"300100AAAAAAAAAA", "027402AAAAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  bus_.after = {{2, "037F3477AAAAAAAA"}};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_EQ(outcome.status, RunStatus::kLateRefusal);
  EXPECT_EQ(HexOf(outcome.request), "340000100001010047");
  EXPECT_EQ(outcome.response_code, 0x77);
  EXPECT_EQ(outcome.step, 5U);
  EXPECT_THAT(xml_, ::testing::HasSubstr("<s><d>1009340000100101</d><e>received "
                                         "037F3477AAAAAAAA for the request before</e></s>"));
}

TEST_F(RunnerTest, FailsWhereARequestIsRefusedWhileTheNextIsSent) {
  bus_.frames = {"300100AAAAAAAAAA", "027402AAAAAAAAAA", "037F3477AAAAAAAA", "300100AAAAAAAAAA",
                 "027402AAAAAAAAAA"};
  EXPECT_EQ(RunCan(kTwoBlocks).status, RunStatus::kLateRefusal);
  EXPECT_THAT(xml_, ::testing::HasSubstr("<r><c>3001</c><e>received"));
}

TEST_F(RunnerTest, DropsOtherFramesThatComeAfterAnAnswer) {
  bus_.frames = {"300100AAAAAAAAAA", "027402AAAAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  bus_.after = {{2, "037F3478AAAAAAAA"}, {2, "027402AAAAAAAAAA"}, {2, "037F3122AAAAAAAA"}};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.passed_over, 3U);
}

TEST_F(RunnerTest, TakesARefusalBeforeTheEndOfTheFirstRequestForItsAnswer) {
  bus_.frames = {"037F3433AAAAAAAA"};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_EQ(outcome.status, RunStatus::kUnexpectedFrame);
  EXPECT_EQ(outcome.response_code, 0x33);
}

TEST_F(RunnerTest, WaitsThroughFlowStatusWait) {
  timing_.max_wait_frames = 2;
  bus_.frames = {"310000AAAAAAAAAA", "310000AAAAAAAAAA", "300100AAAAAAAAAA",
                 "027402AAAAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  EXPECT_TRUE(RunCan(kTwoBlocks).complete());
  bus_.frames = {"310000AAAAAAAAAA", "310000AAAAAAAAAA", "310000AAAAAAAAAA", "300100AAAAAAAAAA"};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_EQ(outcome.status, RunStatus::kPendingTooLong);
  EXPECT_EQ(outcome.reason, "the ECU asked to wait 3 times, expected 3001");
}

TEST_F(RunnerTest, SaysThatTheEcuHasNoRoom) {
  bus_.frames = {"320000AAAAAAAAAA"};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_EQ(outcome.status, RunStatus::kUnexpectedFrame);
  EXPECT_EQ(outcome.reason,
            "the ECU has no room for a request of this length (flow status overflow)");
}

TEST_F(RunnerTest, TellsWhichFlowControlTheEcuAsksFor) {
  bus_.frames = {"300814AAAAAAAAAA"};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_EQ(outcome.status, RunStatus::kFlowControl);
  EXPECT_EQ(outcome.flow_control, (FlowControl{8, 20}));
}

TEST_F(RunnerTest, KeepsTheSeparationTimeThatTheEcuAsksFor) {
  constexpr const char* kThreeFrames =
      "<s><d>1017340000100001</d></s><r><c>3001</c></r><s><d>2101004700000000</d></s>"
      "<r><c>3001</c></r><s><d>2201004700000000</d></s><r><c>027402</c></r>";
  bus_.frames = {"300114AAAAAAAAAA", "300114AAAAAAAAAA", "027402AAAAAAAAAA"};
  EXPECT_TRUE(RunCan(kThreeFrames).complete());
  EXPECT_THAT(bus_.log, ::testing::Contains("wait 10")) << "10 of 20 ms have passed";
}

TEST_F(RunnerTest, WaitsAMillisecondForASeparationTimeOfMicroseconds) {
  bus_.frames = {"3002F5AAAAAAAAAA", "027402AAAAAAAAAA"};
  EXPECT_TRUE(RunCan("<s><d>1017340000100001</d></s><r><c>3002F5</c></r>"
                     "<s><d>2101004700000000</d></s><w>245</w><s><d>2201004700000000</d></s>"
                     "<r><c>027402</c></r><w>245</w>")
                  .complete());
  EXPECT_THAT(bus_.log, ::testing::Contains("wait 1").Times(2));
}

/// Repeats what fails, so often.
Runner::TryDone RepeatTimes(int times) {
  return [times](const RequestTry& request_try) {
    const bool failed = request_try.status != RunStatus::kComplete;
    return failed && request_try.number <= times ? NextMove::kRepeat : NextMove::kGoOn;
  };
}

TEST_F(RunnerTest, TellsOfTheLastTryAloneAndHowEachEnded) {
  try_done_ = RepeatTimes(2);
  bus_.frames = {"037F1021AAAAAAAA", "0250", "037F1012AAAAAAAA"};
  bus_.pauses_after = {2};
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.response_code, 0x12);
  EXPECT_EQ(xml_,
            "<s tries=\"21, damaged, 12\"><d>0210C00000000000</d></s><r><c>0250C0</c>"
            "<d>037F1012AAAAAAAA</d><e>received 037F1012AAAAAAAA, expected 0250C0</e></r>");
}

TEST_F(RunnerTest, SendsARequestAgainFromItsFirstFrameOn) {
  try_done_ = RepeatTimes(1);
  bus_.frames = {"300100AAAAAAAAAA", "037F3477AAAAAAAA", "300100AAAAAAAAAA",
                 "027402AAAAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  EXPECT_TRUE(RunCan(kTwoBlocks).complete());
  EXPECT_THAT(done_, ElementsAre("340000100001010047", "340000100101020048"));
  EXPECT_THAT(xml_, ::testing::StartsWith("<s tries=\"77, ok\"><d>1009340000100001</d></s><r>"
                                          "<c>3001</c><d>300100AAAAAAAAAA</d></r>"));
}

TEST_F(RunnerTest, RepeatsAWakeUpWithItsRequest) {
  try_done_ = RepeatTimes(1);
  bus_.frames = {"83F111C16B8F40"};
  bus_.pauses_after = {0};
  RunKLine("<bk>25</bk><w>25</w><s><d>8111F18104</d></s><r><c>83F111C1</c></r>");
  EXPECT_THAT(bus_.log, ::testing::Contains("break 25").Times(2));
  EXPECT_THAT(xml_, ::testing::StartsWith("<bk>25</bk><w>25</w><s tries=\"silence, ok\">"));
}

TEST_F(RunnerTest, AwaitsAsManyAnswersAsTries) {
  try_done_ = RepeatTimes(1);
  bus_.frames = {"300100AAAAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA",
                 "037F3472AAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  bus_.pauses_after = {1};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_TRUE(outcome.complete()) << outcome.reason;
  EXPECT_THAT(xml_, ::testing::StartsWith("<s tries=\"silence, ok\">"));
}

TEST_F(RunnerTest, AwaitsOtherAnswersForP2Alone) {
  try_done_ = RepeatTimes(1);
  bus_.frames = {"0250C0AAAAAAAAAA"};
  bus_.pauses_after = {0};
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.elapsed, 1ms + 1000ms + 1ms + 10ms + 1000ms);
}

TEST_F(RunnerTest, TakesTheLastOfSeveralAnswers) {
  try_done_ = RepeatTimes(1);
  bus_.frames = {"066781AAAAAAAAAA", "066781BBBBBBBBAA"};
  bus_.pauses_after = {0};
  EXPECT_TRUE(RunCan("<s><d>0227810000000000</d></s><r><c>066781</c></r>").complete());
  EXPECT_THAT(xml_, ::testing::EndsWith("<c>066781</c><d>066781BBBBBBBBAA</d></r>"));
}

TEST_F(RunnerTest, KeepsTheFlowControlsOfARequestThatIsAnsweredTwice) {
  try_done_ = RepeatTimes(1);
  bus_.frames = {"300100AAAAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA",
                 "027402BBBBBBBBBB", "300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  bus_.pauses_after = {1};
  EXPECT_TRUE(RunCan(kTwoBlocks).complete());
  EXPECT_THAT(xml_, ::testing::HasSubstr("<c>3001</c><d>300100AAAAAAAAAA</d></r>"
                                         "<s><d>2101004700000000</d></s>"
                                         "<r><c>027402</c><d>027402BBBBBBBBBB</d></r>"));
}

TEST_F(RunnerTest, ForgivesTheRefusalOfAnotherTry) {
  try_done_ = [](const RequestTry& request_try) {
    return request_try.status == RunStatus::kSilence ? NextMove::kAccept : NextMove::kGoOn;
  };
  bus_.frames = {"300100AAAAAAAAAA", "300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  bus_.pauses_after = {1};
  bus_.after = {{2, "037F3472AAAAAAAA"}};
  const RunOutcome outcome = RunCan(kTwoBlocks);
  EXPECT_TRUE(outcome.complete()) << outcome.reason;
  EXPECT_THAT(done_, ElementsAre("340000100001010047", "340000100101020048"));
  EXPECT_THAT(xml_, ::testing::StartsWith("<s tries=\"accepted\"><d>1009340000100001</d></s><r>"
                                          "<c>3001</c></r>"));
}

TEST_F(RunnerTest, FailsWhereAnAnswerIsNotBelieved) {
  try_done_ = [](const RequestTry&) { return NextMove::kReject; };
  bus_.frames = {"0250C0AAAAAAAAAA"};
  EXPECT_EQ(RunCan(kStartSession).status, RunStatus::kDamagedReply);
}

TEST_F(RunnerTest, StopsAnEndlessWaitWithinASecond) {
  for (int pending = 0; pending < 1000; ++pending) {
    bus_.frames.emplace_back("037F1078AAAAAAAA");
  }
  bool is_first = true;
  stop_requested_ = [&] { return !std::exchange(is_first, false); };
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kStopped);
  EXPECT_EQ(outcome.reason, "stopped while the answer was awaited");
  EXPECT_EQ(HexOf(outcome.request), "10C0") << "it was sent";
  EXPECT_LE(outcome.elapsed, 1100ms);
}

TEST_F(RunnerTest, StopsAWaitInSilenceWithinASecond) {
  timing_.p2 = 20s;
  bool is_first = true;
  stop_requested_ = [&] { return !std::exchange(is_first, false); };
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kStopped);
  EXPECT_LE(outcome.elapsed, 1200ms);
}

TEST_F(RunnerTest, LetsARequestThatIsAnsweredComeToItsEnd) {
  bus_.frames = {"300100AAAAAAAAAA", "027402AAAAAAAAAA"};
  int asked = 0;
  stop_requested_ = [&] { return ++asked > 1; };
  RunCan(kTwoBlocks);
  EXPECT_THAT(done_, ElementsAre("340000100001010047"));
}

TEST_F(RunnerTest, AwaitsTheAnswerToAFrameThatWasPerhapsNotSentWell) {
  bus_.doubts = "the K line carries 00 where 01 was sent";
  bus_.frames = {"0250C0AAAAAAAAAA"};
  EXPECT_TRUE(RunCan(kStartSession).complete());
  const RunOutcome outcome = RunCan(kStartSession);
  EXPECT_EQ(outcome.status, RunStatus::kBusError);
  EXPECT_THAT(outcome.reason,
              ::testing::StartsWith("the K line carries 00 where 01 was sent; no "));
}

TEST_F(RunnerTest, LeavesADamagedMessageOnAKLineUntilItIsQuiet) {
  try_done_ = RepeatTimes(1);
  bus_.frames = {"83F1", "11C16B8F40", "83F111C16B8F40"};
  bus_.pauses_after = {2};
  EXPECT_TRUE(RunKLine("<s><d>8111F18104</d></s><r><c>83F111C1</c></r>").complete());
  EXPECT_THAT(bus_.log, ::testing::Contains("receive 300").Times(2));
}

}  // namespace
}  // namespace quillmark::host
