// SPDX-License-Identifier: MIT
#include "host/runner/message_reader.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace quillmark::host {
namespace {

using enum TransportForm;

std::string ServiceBytes(TransportForm form, const char* frame) {
  return HexOf(ServiceBytesOf(form, BytesOfHex(frame).value()));
}

std::optional<std::uint8_t> Code(TransportForm form, const char* frame) {
  return NegativeResponseCodeOf(form, BytesOfHex(frame).value());
}

TEST(ServiceBytes, AreFoundInTheFramesOfAllForms) {
  EXPECT_EQ(ServiceBytes(kPlainCan, "037F3178AAAAAAAA"), "7F3178");
  EXPECT_EQ(ServiceBytes(kGateway, "0183F16E7F317800"), "7F3178");
  EXPECT_EQ(ServiceBytes(kKLine, "83F1117F317800"), "7F3178");
}

TEST(ServiceBytes, AreFoundBehindALengthByte) {
  EXPECT_EQ(ServiceBytes(kKLine, "80F111037F317800"), "7F3178");
}

TEST(ServiceBytes, AreThoseOfTheFirstFrameWhereAMessageHasSeveral) {
  EXPECT_EQ(ServiceBytes(kPlainCan, "101A618001020304"), "618001020304");
  EXPECT_EQ(ServiceBytes(kGateway, "0494F16E61010203"), "61010203");
}

TEST(ServiceBytes, AreNoneWhereAFrameBeginsNoMessage) {
  EXPECT_EQ(ServiceBytes(kPlainCan, ""), "");
  EXPECT_EQ(ServiceBytes(kPlainCan, "2101020304050607"), "");
  EXPECT_EQ(ServiceBytes(kPlainCan, "300100"), "");
  EXPECT_EQ(ServiceBytes(kGateway, "81"), "");
  EXPECT_EQ(ServiceBytes(kKLine, "83F111"), "");
}

TEST(ServiceBytes, AreCutWhereTheFrameEnds) {
  EXPECT_EQ(ServiceBytes(kPlainCan, "037F31"), "7F31");
  EXPECT_EQ(ServiceBytes(kKLine, "83F1117F"), "7F");
}

TEST(NegativeResponseCode, IsThatOfAWholeNegativeResponse) {
  EXPECT_EQ(Code(kPlainCan, "037F2735AAAAAAAA"), 0x35);
  EXPECT_EQ(Code(kGateway, "0183F16E7F273500"), 0x35);
  EXPECT_EQ(Code(kKLine, "83F1117F273500"), 0x35);
  EXPECT_EQ(Code(kPlainCan, "027F27AAAAAAAAAA"), std::nullopt);
  EXPECT_EQ(Code(kPlainCan, "0367821234AAAAAA"), std::nullopt);
}

/// The requests that a reader finds among sent frames: a "+" at each beginning, then the bytes.
std::string Read(TransportForm form, const std::vector<const char*>& frames) {
  RequestReader reader(form);
  std::string begun;
  for (const char* frame : frames) {
    const Bytes bytes = BytesOfHex(frame).value();
    begun += reader.BeginsRequest(bytes) ? '+' : '.';
    reader.OnSent(bytes);
  }
  return begun + " " + HexOf(reader.Request());
}

TEST(RequestReader, JoinsCanFrames) {
  EXPECT_EQ(Read(kPlainCan, {"0210C00000000000"}), "+ 10C0");
  EXPECT_EQ(Read(kPlainCan, {"1009340000100001", "2101004700000000"}), "+. 340000100001010047");
}

TEST(RequestReader, PassesOverFlowControl) {
  EXPECT_EQ(Read(kPlainCan, {"0221800000000000", "3001000000000000"}), "+. 2180");
}

TEST(RequestReader, GivesWhatIsThereOfAnUnfinishedRequest) {
  EXPECT_EQ(Read(kPlainCan, {"0210C00000000000", "1009340000100001"}), "++ 340000100001");
  EXPECT_EQ(Read(kGateway, {"02896EF134000010"}), "+ 34000010");
}

TEST(RequestReader, JoinsGatewayPieces) {
  EXPECT_EQ(Read(kGateway, {"01816EF18161"}), "+ 81");
  EXPECT_EQ(Read(kGateway, {"02856EF1318100F0", "5AE0"}), "+. 318100F05A");
}

TEST(RequestReader, PassesOverAcknowledgements) {
  EXPECT_EQ(Read(kGateway, {"01826EF1218082", "81", "81", "01816EF18161"}), "+..+ 81");
}

TEST(RequestReader, TakesALastPieceForAPieceWhateverItBeginsWith) {
  EXPECT_EQ(Read(kGateway, {"02846EF127820102", "81"}), "+. 27820102");
}

TEST(RequestReader, TakesEveryKLineMessageForARequest) {
  EXPECT_EQ(Read(kKLine, {"8111F18104", "8211F12180A5"}), "++ 2180");
}

}  // namespace
}  // namespace quillmark::host
