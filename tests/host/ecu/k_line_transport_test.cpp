// SPDX-License-Identifier: MIT
#include "host/ecu/k_line_transport.h"

#include <gmock/gmock.h>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

EcuOptions KLineOptions() {
  EcuOptions options;
  options.form = TransportForm::kKLine;
  options.address = 0x11;
  return options;
}

class KLineTransportTest : public ::testing::Test {
 protected:
  KLineTransportTest() { handler_.replies = {Hex("C16B8F")}; }

  std::vector<std::string> Wake(Duration low, Duration high) {
    bench_.Break(low);
    bench_.Wait(high);
    return bench_.Send(kStart);
  }

  static constexpr const char* kStart = "8111F18104";

  RecordingHandler handler_;
  KLineTransport transport_{KLineOptions(), handler_};
  FrameBench bench_{transport_};
};

TEST_F(KLineTransportTest, AnswersStartCommunicationAfterTheWakeUp) {
  EXPECT_THAT(Wake(25ms, 30ms), ElementsAre("83F111C16B8F40"));
  EXPECT_THAT(handler_.requests, ElementsAre("81"));
}

TEST_F(KLineTransportTest, SleepsWithoutABreak) {
  EXPECT_THAT(bench_.Send(kStart), IsEmpty());
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(KLineTransportTest, SleepsOnAfterABreakOfTheWrongLength) {
  EXPECT_THAT(Wake(23ms, 30ms), IsEmpty());
  EXPECT_THAT(Wake(27ms, 30ms), IsEmpty());
}

TEST_F(KLineTransportTest, SleepsOnWhereStartCommunicationComesTooEarlyOrTooLate) {
  EXPECT_THAT(Wake(25ms, 23ms), IsEmpty());
  EXPECT_THAT(Wake(25ms, 101ms), IsEmpty());
}

TEST_F(KLineTransportTest, NeedsNoBreakInASession) {
  handler_.in_session = true;
  EXPECT_THAT(bench_.Send(kStart), ElementsAre("83F111C16B8F40"));
}

TEST_F(KLineTransportTest, NeedsNoBreakWhereTheLineCarriesNone) {
  EcuOptions options = KLineOptions();
  options.needs_break = false;
  KLineTransport transport(options, handler_);
  FrameBench bench(transport);
  EXPECT_THAT(bench.Send(kStart), ElementsAre("83F111C16B8F40"));
}

TEST_F(KLineTransportTest, DoesNotAnswerAWrongChecksumOrAddress) {
  handler_.in_session = true;
  EXPECT_THAT(bench_.Send("8111F18105"), IsEmpty());
  EXPECT_THAT(bench_.Send("8112F18105"), IsEmpty());
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(KLineTransportTest, AnswersTheTesterThatAsked) {
  handler_.in_session = true;
  handler_.replies = {Hex("7E")};
  EXPECT_THAT(bench_.Send("8111F03EC0"), ElementsAre("81F0117E00"));
}

TEST_F(KLineTransportTest, SendsSeveralRepliesInTurn) {
  handler_.in_session = true;
  handler_.replies = {Hex("7F3E78"), Hex("7E")};
  EXPECT_THAT(bench_.Send("8111F13EC1"), ElementsAre("83F1117F3E78BA", "81F1117E01"));
}

}  // namespace
}  // namespace quillmark::host
