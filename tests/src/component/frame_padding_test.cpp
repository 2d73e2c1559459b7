// SPDX-License-Identifier: MIT
// What a plain CAN frame holds behind the bytes of its message: what an earlier message left there.
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

class FramePadding : public ComponentTest {
 protected:
  FramePadding() { Configure(kPlainCan); }

  /// A request of `size` bytes 27 82 03 04 05 …, as the frames that it is sent in.
  std::vector<std::string> FramesOfRequest(std::uint8_t size) {
    std::string key;
    for (std::uint8_t byte = 3; byte <= size; ++byte) {
      constexpr std::string_view kDigits = "0123456789ABCDEF";
      key += {kDigits[byte / 16], kDigits[byte % 16]};
    }
    return FramesOfKey(key);
  }

  std::vector<std::string> FramesOfKey(std::string_view key) {
    return SentFrames(*diag_->dounlock(String(key)));
  }

  static std::vector<std::string> SentFrames(const DOMDocument& document) {
    std::vector<std::string> frames;
    const auto sent = document.selectNodes("/can/x/s/d");
    for (std::size_t index = 0; index < sent->length(); ++index) {
      frames.push_back(sent->item(index)->text());
    }
    return frames;
  }
};

using ::testing::ElementsAre;

TEST_F(FramePadding, IsZeroOnAFreshContext) {
  EXPECT_THAT(FramesOfRequest(2), ElementsAre("0227820000000000"));
  EXPECT_THAT(FramesOfRequest(8), ElementsAre("1008278203040506", "2107080000000000"));
}

TEST_F(FramePadding, ThirteenBytesFillTwoFrames) {
  EXPECT_THAT(FramesOfRequest(13), ElementsAre("100D278203040506", "210708090A0B0C0D"));
}

// D4.
TEST_F(FramePadding, FourteenBytesRepeatSixOfTheFrameBefore) {
  EXPECT_THAT(FramesOfRequest(14),
              ElementsAre("100E278203040506", "210708090A0B0C0D", "220E08090A0B0C0D"));
}

TEST_F(FramePadding, FifteenBytesRepeatFiveOfTheFrameBefore) {
  EXPECT_THAT(FramesOfRequest(15),
              ElementsAre("100F278203040506", "210708090A0B0C0D", "220E0F090A0B0C0D"));
}

TEST_F(FramePadding, TwentyOneBytesRepeatSixOfTheFrameBefore) {
  EXPECT_THAT(FramesOfRequest(21), ElementsAre("1015278203040506", "210708090A0B0C0D",
                                               "220E0F1011121314", "23150F1011121314"));
}

TEST_F(FramePadding, EightBytesShowTheRequestBefore) {
  static_cast<void>(FramesOfKey("A3A4A5A6A7A8A9AAABACADAEAFB0B1B2B3B4"));
  EXPECT_THAT(FramesOfRequest(8), ElementsAre("1008278203040506", "210708B0B1B2B3B4"));
}

TEST_F(FramePadding, SingleFrameShowsTheFrameBefore) {
  static_cast<void>(diag_->StartDiag());
  EXPECT_THAT(SentFrames(*diag_->TesterPresent()), ElementsAre("013EF30000000000"));
}

TEST_F(FramePadding, SingleFrameShowsTheFirstFrameBefore) {
  static_cast<void>(FramesOfRequest(20));
  EXPECT_THAT(SentFrames(*diag_->TesterPresent()), ElementsAre("013E278203040506"));
}

TEST_F(FramePadding, FlowControlKeepsIt) {
  static_cast<void>(FramesOfRequest(7));
  diag_->FlowControl(8, 1);
  EXPECT_THAT(SentFrames(*diag_->TesterPresent()), ElementsAre("013E820304050607"));
}

TEST_F(FramePadding, RejectedRequestKeepsIt) {
  static_cast<void>(FramesOfRequest(7));
  EXPECT_ERROR(FramesOfKey(std::string(std::size_t{2} * 4094, 'F')), 1000,
               "Invalid request length (4096)");
  EXPECT_THAT(SentFrames(*diag_->TesterPresent()), ElementsAre("013E820304050607"));
}

TEST_F(FramePadding, SequenceNumberWrapsAfterFifteen) {
  const auto frames = FramesOfRequest(130);
  EXPECT_EQ(frames[15].substr(0, 2), "2F");
  EXPECT_EQ(frames[16].substr(0, 2), "20");
  EXPECT_EQ(frames[17].substr(0, 2), "21");
}

}  // namespace
}  // namespace quillmark::testing
