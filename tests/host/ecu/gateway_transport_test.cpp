// SPDX-License-Identifier: MIT
#include "host/ecu/gateway_transport.h"

#include <gmock/gmock.h>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

EcuOptions GatewayOptions() {
  EcuOptions options;
  options.form = TransportForm::kGateway;
  options.address = 0x6E;
  return options;
}

class GatewayTransportTest : public ::testing::Test {
 protected:
  std::vector<std::string> Send(std::string_view frame) { return bench_.Send(frame); }

  RecordingHandler handler_;
  GatewayTransport transport_{GatewayOptions(), handler_};
  FrameBench bench_{transport_};
};

TEST_F(GatewayTransportTest, AnswersAMessageOfOnePiece) {
  handler_.replies = {Hex("C16B8F")};
  EXPECT_THAT(Send("01816EF18161"), ElementsAre("0183F16EC16B8F9D"));
  EXPECT_THAT(handler_.requests, ElementsAre("81"));
}

TEST_F(GatewayTransportTest, AcknowledgesEveryPieceButTheLast) {
  EXPECT_THAT(Send("02856EF1318100F0"), ElementsAre("81"));
  EXPECT_THAT(Send("5AE0"), IsEmpty());
  EXPECT_THAT(handler_.requests, ElementsAre("318100F05A"));
}

TEST_F(GatewayTransportTest, TakesAMessageWithALengthByte) {
  // 80 6E F1 3F, then 34 and 62 bytes 01, 02, …: 68 bytes with the checksum, 69 with the count.
  EXPECT_THAT(Send("09806EF13F340102"), ElementsAre("81"));
  EXPECT_THAT(Send("030405060708090A"), ElementsAre("81"));
  EXPECT_THAT(Send("0B0C0D0E0F101112"), ElementsAre("81"));
  EXPECT_THAT(Send("131415161718191A"), ElementsAre("81"));
  EXPECT_THAT(Send("1B1C1D1E1F202122"), ElementsAre("81"));
  EXPECT_THAT(Send("232425262728292A"), ElementsAre("81"));
  EXPECT_THAT(Send("2B2C2D2E2F303132"), ElementsAre("81"));
  EXPECT_THAT(Send("333435363738393A"), ElementsAre("81"));
  EXPECT_THAT(Send("3B3C3D3EF3"), IsEmpty());
  ASSERT_EQ(handler_.requests.size(), 1U);
  EXPECT_EQ(handler_.requests[0], HexOf(Counting(0x34, 63)));
}

TEST_F(GatewayTransportTest, SendsEachFurtherPieceOnceTheOneBeforeIsAcknowledged) {
  handler_.replies = {Counting(0x61, 20)};
  EXPECT_THAT(Send("01826EF1218082"), ElementsAre("0494F16E61010203"));
  EXPECT_THAT(Send("81"), ElementsAre("0405060708090A0B"));
  EXPECT_THAT(Send("81"), ElementsAre("0C0D0E0F10111213"));
  EXPECT_THAT(Send("81"), ElementsAre("12"));
  EXPECT_THAT(Send("81"), IsEmpty());
}

TEST_F(GatewayTransportTest, AFullLastPieceIsTheLast) {
  handler_.replies = {Hex("7F2712"), Hex("718101")};
  EXPECT_THAT(Send("01816EF18161"), ElementsAre("0183F16E7F27129A", "0183F16E718101D5"));
}

TEST_F(GatewayTransportTest, DoesNotAnswerAWrongChecksumOrAddress) {
  EXPECT_THAT(Send("01816EF18162"), IsEmpty());
  EXPECT_THAT(Send("018170F18163"), IsEmpty());
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(GatewayTransportTest, DoesNotAnswerAWrongNumberOfPieces) {
  Send("03856EF1318100F0");
  Send("5AE0");
  EXPECT_THAT(Send("00816EF18161"), IsEmpty());
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(GatewayTransportTest, DropsAShortPieceThatIsNotTheLast) {
  EXPECT_THAT(Send("02856EF1318100"), IsEmpty());
  EXPECT_THAT(Send("03856EF1318100F0"), ElementsAre("81"));
  EXPECT_THAT(Send("5A"), IsEmpty());
  EXPECT_THAT(Send("01816EF18161"), IsEmpty());
  EXPECT_THAT(handler_.requests, ElementsAre("81"));
}

TEST_F(GatewayTransportTest, DropsAPieceThatDoesNotWaitForTheAcknowledgement) {
  bench_.Push("02856EF1318100F0");
  bench_.Push("5AE0");
  EXPECT_THAT(bench_.Collect(), IsEmpty());
  EXPECT_THAT(handler_.requests, IsEmpty());
}

TEST_F(GatewayTransportTest, BeginsAnewAfterAnUnfinishedRequest) {
  Send("02856EF1318100F0");
  bench_.Wait(1001ms);
  Send("01816EF18161");
  EXPECT_THAT(handler_.requests, ElementsAre("81"));
}

TEST_F(GatewayTransportTest, GivesUpAReplyWithoutAcknowledgementInTime) {
  handler_.replies = {Counting(0x61, 20)};
  Send("01826EF1218082");
  bench_.Wait(1001ms);
  EXPECT_THAT(Send("81"), IsEmpty());
}

TEST_F(GatewayTransportTest, ANewRequestTakesThePlaceOfAnUnfinishedReply) {
  handler_.replies = {Counting(0x61, 20)};
  Send("01826EF1218082");
  handler_.replies = {Hex("7E")};
  EXPECT_THAT(Send("01816EF13E1E"), ElementsAre("0181F16E7E5E"));
}

TEST_F(GatewayTransportTest, IgnoresEmptyAndLongFrames) {
  EXPECT_THAT(Send(""), IsEmpty());
  EXPECT_THAT(Send("01866EF10000000000"), IsEmpty());
  EXPECT_THAT(handler_.requests, IsEmpty());
}

}  // namespace
}  // namespace quillmark::host
