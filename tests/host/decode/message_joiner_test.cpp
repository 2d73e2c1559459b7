// SPDX-License-Identifier: MIT
#include "host/decode/message_joiner.h"

#include <gtest/gtest.h>

namespace quillmark::host::testing {
namespace {

class Joined {
 public:
  explicit Joined(TransportForm form) : joiner_(form) {}

  JoinedFrame ToEcu(std::string_view hex) {
    return joiner_.Add(Direction::kToEcu, *BytesOfHex(hex));
  }
  JoinedFrame ToTester(std::string_view hex) {
    return joiner_.Add(Direction::kToTester, *BytesOfHex(hex));
  }

  /// The messages as hexadecimal text, with the defect behind.
  std::vector<std::string> Finish() {
    joiner_.Finish();
    std::vector<std::string> texts;
    for (const JoinedMessage& message : joiner_.messages()) {
      texts.push_back(HexOf(message.bytes) + (message.defect.empty() ? "" : " " + message.defect));
    }
    return texts;
  }

 private:
  MessageJoiner joiner_;
};

using Texts = std::vector<std::string>;

TEST(PlainCanJoiner, TakesASingleFrameWithoutWhatFillsItUp) {
  Joined joined(TransportForm::kPlainCan);
  EXPECT_EQ(joined.ToEcu("0210C0AAAAAAAAAA"), (JoinedFrame{FrameKind::kSingle, 0, 1, 2}));
  EXPECT_EQ(joined.Finish(), Texts{"10C0"});
}

TEST(PlainCanJoiner, JoinsALongMessageWithItsFlowControl) {
  Joined joined(TransportForm::kPlainCan);
  EXPECT_EQ(joined.ToEcu("10082782A1A2A3A4"), (JoinedFrame{FrameKind::kFirst, 0, 2, 6}));
  EXPECT_EQ(joined.ToTester("3001000000000000"), (JoinedFrame{FrameKind::kFlowControl, 0, 0, 0}));
  EXPECT_EQ(joined.ToEcu("21A5A60000000000"), (JoinedFrame{FrameKind::kConsecutive, 0, 1, 2}));
  EXPECT_EQ(joined.ToTester("026782"), (JoinedFrame{FrameKind::kSingle, 1, 1, 2}));
  EXPECT_EQ(joined.Finish(), (Texts{"2782A1A2A3A4A5A6", "6782"}));
}

TEST(PlainCanJoiner, CountsConsecutiveFramesBeyondFifteen) {
  Joined joined(TransportForm::kPlainCan);
  joined.ToEcu("1076010203040506");  // 118 bytes: 6 and 16 times 7
  std::string expected = "010203040506";
  for (int number = 1; number <= 16; ++number) {
    joined.ToEcu(HexOf(Bytes{static_cast<std::uint8_t>(0x20 | (number & 0x0F))}) +
                 "11223344556677");
    expected += "11223344556677";
  }
  EXPECT_EQ(joined.Finish(), Texts{expected});
}

TEST(PlainCanJoiner, SaysWhatIsWrongWithAMessage) {
  Joined joined(TransportForm::kPlainCan);
  joined.ToEcu("10142782A1A2A3A4");
  joined.ToEcu("22A5A6A7A8A9AAAB");
  joined.ToEcu("0410");
  joined.ToEcu("21FF");
  joined.ToTester("3001");
  joined.ToEcu("F0");
  joined.ToEcu("10083401");
  EXPECT_EQ(
      joined.Finish(),
      (Texts{"2782A1A2A3A4A5A6A7A8A9AAAB consecutive frame 2 came where 1 was due",
             "10 breaks off after 1 of 4 bytes", "21FF a consecutive frame without a first one",
             "3001 flow control without a message", "F0 a frame of an unknown type",
             "3401 breaks off after 2 of 8 bytes"}));
}

TEST(GatewayJoiner, JoinsPiecesWithTheirAcknowledgements) {
  Joined joined(TransportForm::kGateway);
  EXPECT_EQ(joined.ToEcu("01826EF1278189"), (JoinedFrame{FrameKind::kPiece, 0, 4, 2}));
  EXPECT_EQ(joined.ToTester("0286F16E67811A2B"), (JoinedFrame{FrameKind::kPiece, 1, 4, 4}));
  EXPECT_EQ(joined.ToEcu("81"), (JoinedFrame{FrameKind::kAcknowledgement, 1, 0, 0}));
  EXPECT_EQ(joined.ToTester("3C4D9B"), (JoinedFrame{FrameKind::kPiece, 1, 0, 2}));
  EXPECT_EQ(joined.Finish(), (Texts{"2781", "67811A2B3C4D"}));
}

TEST(GatewayJoiner, VerifiesTheChecksumOfAMessage) {
  Joined joined(TransportForm::kGateway);
  joined.ToEcu("01816EF18162");
  EXPECT_EQ(joined.Finish(), Texts{"81 wrong checksum 62, it should be 61"});
}

TEST(KLineJoiner, TakesMessagesOfBothLengths) {
  Joined joined(TransportForm::kKLine);
  EXPECT_EQ(joined.ToEcu("8211F127812C"), (JoinedFrame{FrameKind::kMessage, 0, 3, 2}));
  EXPECT_EQ(joined.ToTester("80F11102C16B2E"), (JoinedFrame{FrameKind::kMessage, 1, 4, 2}));
  EXPECT_EQ(joined.Finish()[0], "2781");
}

TEST(KLineJoiner, SaysWhatIsWrongWithAMessage) {
  Joined joined(TransportForm::kKLine);
  joined.ToEcu("8211F127812D");
  joined.ToEcu("8211F127");
  joined.ToEcu("82");
  EXPECT_EQ(joined.Finish(), (Texts{"2781 wrong checksum 2D, it should be 2C", "27 cut short",
                                    "82 too short for a message"}));
}

TEST(AnyJoiner, SurvivesEmptyFrames) {
  for (const TransportForm form :
       {TransportForm::kPlainCan, TransportForm::kGateway, TransportForm::kKLine}) {
    Joined joined(form);
    EXPECT_EQ(joined.ToEcu("").kind, FrameKind::kStray);
    EXPECT_EQ(joined.Finish().size(), 1U);
  }
}

}  // namespace
}  // namespace quillmark::host::testing
