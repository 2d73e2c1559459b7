// SPDX-License-Identifier: MIT
#include "host/report/memory_picture.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>

namespace quillmark::host::testing {
namespace {

using Stretches = std::vector<MemoryStretch>;

TEST(MemoryPicture, IsEmptyAtFirst) { EXPECT_EQ(MemoryPicture().Stretches(), Stretches{}); }

TEST(MemoryPicture, CoversWhatWasThere) {
  MemoryPicture picture;
  picture.Paint(0x100, 0x100, MemoryState::kPlanned);
  picture.Paint(0x140, 0x20, MemoryState::kWritten);
  EXPECT_EQ(picture.Stretches(), (Stretches{{0x100, 0x40, MemoryState::kPlanned},
                                            {0x140, 0x20, MemoryState::kWritten},
                                            {0x160, 0xA0, MemoryState::kPlanned}}));
}

TEST(MemoryPicture, JoinsNeighboursOfOneState) {
  MemoryPicture picture;
  picture.Paint(0, 8, MemoryState::kRead);
  picture.Paint(8, 8, MemoryState::kRead);
  picture.Paint(20, 0, MemoryState::kRead);
  EXPECT_EQ(picture.Stretches(), (Stretches{{0, 16, MemoryState::kRead}}));
}

TEST(MemoryPicture, ReachesToTheEndOf32Bits) {
  constexpr std::uint32_t kLast = 0xFFFFFFFF;
  MemoryPicture picture;
  picture.Paint(kLast, kLast, MemoryState::kRead);
  picture.Paint(0, kLast, MemoryState::kFill);
  EXPECT_EQ(picture.Stretches(),
            (Stretches{{0, kLast, MemoryState::kFill}, {kLast, kLast, MemoryState::kRead}}));
}

TEST(MemoryPicture, CoversSeveralAtOnce) {
  MemoryPicture picture;
  picture.Paint(0, 4, MemoryState::kRead);
  picture.Paint(6, 4, MemoryState::kFill);
  picture.Paint(2, 6, MemoryState::kFailed);
  EXPECT_EQ(picture.Stretches(), (Stretches{{0, 2, MemoryState::kRead},
                                            {2, 6, MemoryState::kFailed},
                                            {8, 2, MemoryState::kFill}}));
}

/// A K line log of messages in hexadecimal text; those of the ECU begin with '<'.
class PictureOfFlash : public ::testing::Test {
 protected:
  void Add(Direction direction, std::string_view hex) {
    Bytes service = *BytesOfHex(hex);
    Bytes message{static_cast<std::uint8_t>(0x80U | service.size()), 0x11, 0xF1};
    message.insert(message.end(), service.begin(), service.end());
    message.push_back(
        static_cast<std::uint8_t>(std::accumulate(message.begin(), message.end(), 0U)));
    trace_.entries.push_back(
        {.direction = direction, .exchange = trace_.exchange, .data = message});
  }
  void Ask(std::string_view hex) { Add(Direction::kToEcu, hex); }
  void Answer(std::string_view hex) { Add(Direction::kToTester, hex); }

  void Erase() {
    Ask("318100F05A");
    Answer("718101");
  }
  void Download(const std::string& data, const char* answer) {
    Ask("340000100002" + data + "0000");
    Answer(answer);
  }

  Stretches Picture() {
    const Decoding decoding = Decode(trace_);
    return PictureOf(plan_, decoding, ExchangesOf(decoding)).Stretches();
  }

  Trace trace_{.exchange = {.form = TransportForm::kKLine}};
  // Two bytes at 0x1000 and two of fill behind them.
  CommandPlan plan_{
      .command = PlannedCommand::kFlash, .segments = {{0x1000, 4}}, .blocks = {{0x1000, 2}}};
};

TEST_F(PictureOfFlash, ShowsThePlanWhereNothingHappened) {
  EXPECT_EQ(Picture(),
            (Stretches{{0x1000, 2, MemoryState::kPlanned}, {0x1002, 2, MemoryState::kFill}}));
}

TEST_F(PictureOfFlash, ShowsWhatWasErasedAndNotWritten) {
  Erase();
  EXPECT_EQ(Picture(),
            (Stretches{{0x1000, 2, MemoryState::kErased}, {0x1002, 2, MemoryState::kFill}}));
}

TEST_F(PictureOfFlash, ShowsNothingAsErasedWhereTheEraseWasRefused) {
  Ask("318100F05A");
  Answer("7F3133");
  EXPECT_EQ(Picture().front().state, MemoryState::kPlanned);
}

TEST_F(PictureOfFlash, ShowsAcceptedAndRefusedBlocks) {
  Erase();
  Download("A1A2", "7402");
  EXPECT_EQ(Picture().front(), (MemoryStretch{0x1000, 2, MemoryState::kWritten}));
  Download("A1A2", "7F3477");
  EXPECT_EQ(Picture().front(), (MemoryStretch{0x1000, 2, MemoryState::kFailed}));
}

TEST_F(PictureOfFlash, VerifiesByComparingByteByByte) {
  Erase();
  Download("A1A2", "7402");
  Ask("358000100004");
  Answer("750000100004A1A3FFFE0000");
  EXPECT_EQ(Picture(), (Stretches{{0x1000, 1, MemoryState::kVerified},
                                  {0x1001, 1, MemoryState::kFailed},
                                  {0x1002, 1, MemoryState::kFill},
                                  {0x1003, 1, MemoryState::kFailed}}));
}

TEST_F(PictureOfFlash, TakesNothingForVerifiedThatCouldNotBeRead) {
  Erase();
  Download("A1A2", "7402");
  Ask("358000100002");
  Answer("7F3522");
  EXPECT_EQ(Picture().front(), (MemoryStretch{0x1000, 2, MemoryState::kFailed}));
}

TEST_F(PictureOfFlash, TakesAReadingBeforeTheDownloadForABackup) {
  Ask("358000100002");
  Answer("75000010000201020000");
  EXPECT_EQ(Picture().front(), (MemoryStretch{0x1000, 2, MemoryState::kPlanned}));
}

TEST_F(PictureOfFlash, ShowsWhatWasRead) {
  plan_ = {.command = PlannedCommand::kRead, .ranges = {{0x1000, 4}}};
  Ask("358000100002");
  Answer("75000010000201020000");
  EXPECT_EQ(Picture(),
            (Stretches{{0x1000, 2, MemoryState::kRead}, {0x1002, 2, MemoryState::kPlanned}}));
}

}  // namespace
}  // namespace quillmark::host::testing
