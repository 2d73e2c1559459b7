// SPDX-License-Identifier: MIT
#include "host/ecu/can_transport.h"

#include <gmock/gmock.h>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CanTransportTest : public ::testing::Test {
 protected:
  void Configure(std::uint8_t block_size, std::uint8_t separation_time) {
    EcuOptions options;
    options.block_size = block_size;
    options.separation_time = separation_time;
    transport_ = std::make_unique<CanTransport>(options, handler_);
    bench_ = std::make_unique<FrameBench>(*transport_);
  }
  void SetUp() override { Configure(1, 0); }

  std::vector<std::string> Send(std::string_view frame) { return bench_->Send(frame); }

  RecordingHandler handler_;
  std::unique_ptr<CanTransport> transport_;
  std::unique_ptr<FrameBench> bench_;
};

TEST_F(CanTransportTest, AnswersASingleFrameWithAPaddedSingleFrame) {
  handler_.replies = {Hex("50C0")};
  EXPECT_THAT(Send("0210C00000000000"), ElementsAre("0250C0AAAAAAAAAA"));
  EXPECT_THAT(handler_.requests, ElementsAre("10C0"));
}

TEST_F(CanTransportTest, TakesAShortFrameThatHoldsItsData) {
  Send("013E");
  EXPECT_THAT(handler_.requests, ElementsAre("3E"));
}

TEST_F(CanTransportTest, IgnoresSingleFramesWithoutTheirData) {
  for (const char* frame : {"00", "0210", "08AABBCCDDEEFF11", "0FAABBCCDDEEFF11"}) {
    EXPECT_THAT(Send(frame), IsEmpty()) << frame;
  }
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(CanTransportTest, IgnoresEmptyAndLongFramesAndUnknownTypes) {
  for (const char* frame : {"", "0210C0000000000000", "4210C00000000000", "F000000000000000"}) {
    EXPECT_THAT(Send(frame), IsEmpty()) << frame;
  }
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(CanTransportTest, AsksForEveryBlockOfASegmentedRequest) {
  EXPECT_THAT(Send("1014340102030405"), ElementsAre("300100AAAAAAAAAA"));
  EXPECT_THAT(Send("21060708090A0B0C"), ElementsAre("300100AAAAAAAAAA"));
  EXPECT_THAT(Send("220D0E0F10111213"), IsEmpty());
  EXPECT_THAT(handler_.requests, ElementsAre("340102030405060708090A0B0C0D0E0F10111213"));
}

TEST_F(CanTransportTest, DropsThePaddingOfTheLastFrame) {
  Send("1008340102030405");
  Send("2106070000000000");
  EXPECT_THAT(handler_.requests, ElementsAre("3401020304050607"));
}

TEST_F(CanTransportTest, AsksOnceWithBlockSizeZero) {
  Configure(0, 0);
  EXPECT_THAT(Send("1014340102030405"), ElementsAre("300000AAAAAAAAAA"));
  EXPECT_THAT(Send("21060708090A0B0C"), IsEmpty());
  EXPECT_THAT(Send("220D0E0F10111213"), IsEmpty());
  EXPECT_THAT(handler_.requests, ElementsAre("340102030405060708090A0B0C0D0E0F10111213"));
}

TEST_F(CanTransportTest, SequenceNumbersWrapFromFifteenToZero) {
  Configure(0, 0);
  Send("107A340000000000");
  for (const char* frame :
       {"2100000000000000", "2200000000000000", "2300000000000000", "2400000000000000",
        "2500000000000000", "2600000000000000", "2700000000000000", "2800000000000000",
        "2900000000000000", "2A00000000000000", "2B00000000000000", "2C00000000000000",
        "2D00000000000000", "2E00000000000000", "2F00000000000000", "2000000000000000"}) {
    Send(frame);
  }
  EXPECT_THAT(handler_.requests, IsEmpty());
  Send("2100000000000000");
  ASSERT_EQ(handler_.requests.size(), 1U);
  EXPECT_EQ(handler_.requests[0].size(), 2 * 122U);
}

TEST_F(CanTransportTest, DropsARequestWithAWrongSequenceNumber) {
  Send("1014340102030405");
  Send("22060708090A0B0C");
  EXPECT_THAT(Send("21060708090A0B0C"), IsEmpty());
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(CanTransportTest, DropsARequestThatDoesNotWaitForFlowControl) {
  bench_->Push("1014340102030405");
  bench_->Push("21060708090A0B0C");
  EXPECT_THAT(bench_->Collect(), IsEmpty());
  Send("220D0E0F10111213");
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(CanTransportTest, DropsARequestFasterThanTheSeparationTime) {
  Configure(8, 20);
  EXPECT_THAT(Send("1014340102030405"), ElementsAre("300814AAAAAAAAAA"));
  Send("21060708090A0B0C");
  bench_->Wait(19ms);
  Send("220D0E0F10111213");
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(CanTransportTest, TakesARequestThatKeepsTheSeparationTime) {
  Configure(8, 20);
  Send("1014340102030405");
  Send("21060708090A0B0C");
  bench_->Wait(20ms);
  Send("220D0E0F10111213");
  EXPECT_EQ(handler_.requests.size(), 1U);
}

TEST_F(CanTransportTest, CountsSeparationTimesFromF1OnInHundredsOfMicroseconds) {
  Configure(8, 0xF3);
  Send("1014340102030405");
  Send("21060708090A0B0C");
  bench_->Wait(300us);
  Send("220D0E0F10111213");
  EXPECT_EQ(handler_.requests.size(), 1U);
}

TEST_F(CanTransportTest, TakesAReservedSeparationTimeAsTheLongest) {
  Configure(8, 0x80);
  Send("1014340102030405");
  Send("21060708090A0B0C");
  bench_->Wait(126ms);
  Send("220D0E0F10111213");
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(CanTransportTest, DropsARequestWhoseNextFrameComesTooLate) {
  Send("1014340102030405");
  bench_->Wait(1001ms);
  EXPECT_THAT(Send("21060708090A0B0C"), IsEmpty());
}

TEST_F(CanTransportTest, ANewRequestTakesThePlaceOfAnUnfinishedOne) {
  Send("1014340102030405");
  Send("013E000000000000");
  EXPECT_THAT(Send("21060708090A0B0C"), IsEmpty());
  EXPECT_THAT(handler_.requests, ElementsAre("3E"));
}

TEST_F(CanTransportTest, IgnoresAFirstFrameOfAMessageThatFitsASingleOne) {
  EXPECT_THAT(Send("1007340102030405"), IsEmpty());
  EXPECT_THAT(Send("10143401020304"), IsEmpty()) << "a first frame has 8 bytes";
}

TEST_F(CanTransportTest, SendsASegmentedReplyBlockByBlock) {
  handler_.replies = {Counting(0x61, 20)};
  EXPECT_THAT(Send("0221800000000000"), ElementsAre("1014610102030405"));
  EXPECT_THAT(Send("3001000000000000"), ElementsAre("21060708090A0B0C"));
  EXPECT_THAT(Send("3001000000000000"), ElementsAre("220D0E0F10111213"));
  EXPECT_THAT(Send("3001000000000000"), IsEmpty());
}

TEST_F(CanTransportTest, PadsTheLastFrameOfAReply) {
  handler_.replies = {Counting(0x61, 8)};
  Send("0221800000000000");
  EXPECT_THAT(Send("3001000000000000"), ElementsAre("210607AAAAAAAAAA"));
}

TEST_F(CanTransportTest, SendsAllAtOnceForBlockSizeZeroAndKeepsTheSeparationTime) {
  handler_.replies = {Counting(0x61, 20)};
  Send("0221800000000000");
  const Duration before = bench_->now();
  EXPECT_THAT(Send("3000140000000000"), ElementsAre("21060708090A0B0C", "220D0E0F10111213"));
  EXPECT_EQ(bench_->now() - before, 20ms + 100us);
}

TEST_F(CanTransportTest, WaitsAsLongAsTheTesterAsksItTo) {
  handler_.replies = {Counting(0x61, 8)};
  Send("0221800000000000");
  bench_->Wait(900ms);
  EXPECT_THAT(Send("3100000000000000"), IsEmpty());
  bench_->Wait(900ms);
  EXPECT_THAT(Send("3001000000000000"), ElementsAre("210607AAAAAAAAAA"));
}

TEST_F(CanTransportTest, GivesUpAReplyWithoutFlowControlInTime) {
  handler_.replies = {Counting(0x61, 8)};
  Send("0221800000000000");
  bench_->Wait(1001ms);
  EXPECT_THAT(Send("3001000000000000"), IsEmpty());
}

TEST_F(CanTransportTest, GivesUpAReplyThatOverflowsTheTester) {
  handler_.replies = {Counting(0x61, 8)};
  Send("0221800000000000");
  EXPECT_THAT(Send("3200000000000000"), IsEmpty());
  EXPECT_THAT(Send("3001000000000000"), IsEmpty());
}

TEST_F(CanTransportTest, SendsSeveralRepliesInTurn) {
  handler_.replies = {Hex("7F3178"), Hex("718101")};
  EXPECT_THAT(Send("03318101"), ElementsAre("037F3178AAAAAAAA", "03718101AAAAAAAA"));
}

}  // namespace
}  // namespace quillmark::host
