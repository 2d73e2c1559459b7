// SPDX-License-Identifier: MIT
#include "host/bus/slcan_codec.h"

#include <gmock/gmock.h>
#include <rapidcheck.h>

#include <stdexcept>

namespace quillmark::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Kind = SlcanEvent::Kind;

ByteView Raw(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::vector<SlcanEvent> Received(std::string_view text) { return SlcanReceiver().Take(Raw(text)); }

const CanFrame kSeedReply{0x73A, false, {0x06, 0x67, 0x81, 0x11, 0x22, 0x33, 0x44, 0xAA}};

TEST(SlcanFrame, IsALetterTheIdentifierTheLengthAndTheData) {
  EXPECT_EQ(SlcanLineOf({0x632, false, {0x02, 0x27, 0x81, 0, 0, 0, 0, 0}}),
            "t63280227810000000000");
  EXPECT_EQ(SlcanLineOf({0x18DA10F1, true, {0x01, 0x3E}}), "T18DA10F12013E");
  EXPECT_EQ(SlcanLineOf({0x001, false, {}}), "t0010");
}

TEST(SlcanFrame, DoesNotCarryWhatCanCannot) {
  EXPECT_THROW(static_cast<void>(SlcanLineOf({0x800, false, {}})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(SlcanLineOf({0x20000000, true, {}})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(SlcanLineOf({1, false, Bytes(9)})), std::invalid_argument);
}

TEST(SlcanFrame, IsReadInBothCasesWithAndWithoutATimeStamp) {
  EXPECT_EQ(CanFrameOfSlcanLine("t73A80667811122334 4"), std::nullopt);
  EXPECT_EQ(CanFrameOfSlcanLine("t73A806678111223344AA"), kSeedReply);
  EXPECT_EQ(CanFrameOfSlcanLine("t73a806678111223344aa"), kSeedReply);
  EXPECT_EQ(CanFrameOfSlcanLine("t73A806678111223344AA1F40"), kSeedReply);
  EXPECT_EQ(CanFrameOfSlcanLine("T0000073A0"), (CanFrame{0x73A, true, {}}));
}

TEST(SlcanFrame, IsNothingElse) {
  for (const char* line :
       {"", "t", "t73A", "t73A1", "t73A101FF", "t73A9000102030405060708", "t73A2010", "t80000",
        "T200000000", "tG0010", "t7-A0", "r73A0", "x73A0", "t73A1 1", "t73A101 1F4"}) {
    EXPECT_EQ(CanFrameOfSlcanLine(line), std::nullopt) << line;
  }
}

TEST(SlcanFrame, ReadsBackWhateverItCarries) {
  EXPECT_TRUE(rc::check([] {
    const bool extended = *rc::gen::arbitrary<bool>();
    const auto identifier =
        *rc::gen::inRange<std::uint32_t>(0, extended ? CanFrame::kLastExtendedIdentifier + 1
                                                     : CanFrame::kLastStandardIdentifier + 1);
    const auto size = *rc::gen::inRange<std::size_t>(0, CanFrame::kMostBytes + 1);
    const CanFrame frame{identifier, extended,
                         *rc::gen::container<Bytes>(size, rc::gen::arbitrary<std::uint8_t>())};
    RC_ASSERT(CanFrameOfSlcanLine(SlcanLineOf(frame)) == frame);
  }));
}

TEST(SlcanBitRate, IsOneOfNine) {
  EXPECT_EQ(SlcanBitRateCommand(10'000), "S0");
  EXPECT_EQ(SlcanBitRateCommand(500'000), "S6");
  EXPECT_EQ(SlcanBitRateCommand(1'000'000), "S8");
  EXPECT_EQ(SlcanBitRateCommand(83'333), std::nullopt);
  EXPECT_EQ(BitRateOfSlcanCommand("S6"), 500'000);
  for (const char* line : {"S", "S9", "S66", "s6", "O", ""}) {
    EXPECT_EQ(BitRateOfSlcanCommand(line), std::nullopt) << line;
  }
}

TEST(SlcanReceiver, TellsFramesConfirmationsRefusalsAndAnswers) {
  EXPECT_THAT(
      Received("\rz\rZ\r\a"
               "V1013\r"
               "t73A806678111223344AA\r"),
      ElementsAre(SlcanEvent{Kind::kAccepted}, SlcanEvent{Kind::kAccepted},
                  SlcanEvent{Kind::kAccepted}, SlcanEvent{Kind::kRefused},
                  SlcanEvent{Kind::kAnswer, {}, "V1013"}, SlcanEvent{Kind::kFrame, kSeedReply}));
}

TEST(SlcanReceiver, TakesARemoteFrameForNoData) {
  EXPECT_THAT(Received("r73A8\r"), ElementsAre(SlcanEvent{Kind::kAnswer, {}, "r73A8"}));
}

TEST(SlcanReceiver, WaitsForTheRestOfALine) {
  SlcanReceiver receiver;
  EXPECT_THAT(receiver.Take(Raw("t73A8066781")), IsEmpty());
  EXPECT_THAT(receiver.Take(Raw("11223344AA")), IsEmpty());
  EXPECT_THAT(receiver.Take(Raw("\r")), ElementsAre(SlcanEvent{Kind::kFrame, kSeedReply}));
}

TEST(SlcanReceiver, FindsAFrameBehindJunk) {
  EXPECT_THAT(
      Received("\xFF%t73A806678111223344AA\r"),
      ElementsAre(SlcanEvent{Kind::kJunk, {}, "\xFF%"}, SlcanEvent{Kind::kFrame, kSeedReply}));
}

TEST(SlcanReceiver, FindsAFrameBehindOneThatLostItsEnd) {
  EXPECT_THAT(Received("t73A806678111t73A806678111223344AA\r"),
              ElementsAre(SlcanEvent{Kind::kJunk, {}, "t73A806678111"},
                          SlcanEvent{Kind::kFrame, kSeedReply}));
}

TEST(SlcanReceiver, TakesALineThatLostADigitForJunk) {
  EXPECT_THAT(Received("t73A80667811122334AA\r"),
              ElementsAre(SlcanEvent{Kind::kJunk, {}, "t73A80667811122334AA"}));
}

TEST(SlcanReceiver, TakesALineThatEndsWithABellForJunkAndARefusal) {
  EXPECT_THAT(Received("t73A\a"),
              ElementsAre(SlcanEvent{Kind::kJunk, {}, "t73A"}, SlcanEvent{Kind::kRefused}));
}

TEST(SlcanReceiver, FindsAFrameBehindAnyAmountOfJunk) {
  const std::vector<SlcanEvent> events =
      Received(std::string(100'000, 'x') + SlcanLineOf(kSeedReply) + "\r");
  ASSERT_EQ(events.size(), 2);
  EXPECT_EQ(events[0].kind, Kind::kJunk);
  EXPECT_LT(events[0].text.size(), 100);
  EXPECT_EQ(events[1], (SlcanEvent{Kind::kFrame, kSeedReply}));
}

TEST(SlcanReceiver, DoesNotCareHowBytesAreSplit) {
  EXPECT_TRUE(rc::check([] {
    const auto text = *rc::gen::container<std::string>(
        rc::gen::element('t', 'T', '7', '3', 'A', '0', '1', '8', '\r', '\a', 'z', 'x', '\xFF'));
    const auto cut = *rc::gen::inRange<std::size_t>(0, text.size() + 1);
    SlcanReceiver receiver;
    std::vector<SlcanEvent> events = receiver.Take(Raw(text).first(cut));
    const std::vector<SlcanEvent> rest = receiver.Take(Raw(text).subspan(cut));
    events.insert(events.end(), rest.begin(), rest.end());
    RC_ASSERT(events == Received(text));
  }));
}

}  // namespace
}  // namespace quillmark::host
