// SPDX-License-Identifier: MIT
#include "host/tool/progress_text.h"

#include <gmock/gmock.h>

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

Progress Download(std::uint64_t done, std::uint64_t total, Duration time) {
  return {Phase::kDownload, done, total, time, time + milliseconds(500)};
}

TEST(ProgressText, OfAPhaseWithoutBytesIsItsName) {
  EXPECT_EQ(ProgressText({Phase::kErase, 0, 0, milliseconds(3), milliseconds(4)}), "erase");
  EXPECT_EQ(ProgressBar({Phase::kErase, 0, 0, milliseconds(3), milliseconds(4)}, 80), "erase");
}

TEST(ProgressText, BeforeTheFirstByteKnowsNoRate) {
  EXPECT_EQ(ProgressText(Download(0, 1000, Duration(0))), "download    0 %      0 of 1,000 B");
}

TEST(ProgressText, TellsPercentRateAndTimeLeft) {
  EXPECT_EQ(ProgressText(Download(20000, 50000, milliseconds(2000))),
            "download   40 %  20,000 of 50,000 B   10.0 kB/s  3.00 s left");
}

TEST(ProgressText, TellsTheTimeTakenAtTheEnd) {
  EXPECT_EQ(ProgressText(Download(50000, 50000, milliseconds(5000))),
            "download  100 %  50,000 of 50,000 B   10.0 kB/s  5.00 s");
}

TEST(ProgressText, ReachesAHundredPercentWithTheLastByteOnly) {
  EXPECT_EQ(Percent(Download(999999, 1000000, Duration(1))), 99U);
  EXPECT_EQ(Percent(Download(1000000, 1000000, Duration(1))), 100U);
}

TEST(ProgressText, TellsHowOftenRequestsWereSentAgain) {
  Progress progress = Download(50000, 50000, milliseconds(5000));
  progress.repeated = 3;
  EXPECT_EQ(ProgressText(progress),
            "download  100 %  50,000 of 50,000 B   10.0 kB/s  5.00 s  asked again 3 times");
  EXPECT_THAT(ProgressBar(progress, 120), ::testing::EndsWith("5.00 s  asked again 3 times"));
  EXPECT_THAT(ProgressBar(progress, 76), ::testing::EndsWith("5.00 s")) << "as far as it fits";
  progress = {Phase::kErase, 0, 0, milliseconds(3), milliseconds(4)};
  progress.repeated = 1;
  EXPECT_EQ(ProgressText(progress), "erase  asked again 1 time");
}

TEST(ProgressBarTest, GrowsWithTheBytesAndKeepsItsLength) {
  EXPECT_EQ(ProgressBar(Download(0, 50000, Duration(0)), 76),
            "download  [----------]   0 %       0 of 50,000 B");
  EXPECT_EQ(ProgressBar(Download(20000, 50000, milliseconds(2000)), 76),
            "download  [####------]  40 %  20,000 of 50,000 B   10.0 kB/s  3.00 s left");
}

TEST(ProgressBarTest, FitsAlsoWhereTheTimeLeftIsLong) {
  const std::string bar = ProgressBar(Download(20000, 50000, std::chrono::hours(1)), 76);
  EXPECT_EQ(bar, "download  [####------]  40 %  20,000 of 50,000 B       6 B/s  90:00 min left");
}

TEST(ProgressBarTest, IsLeftOutWhereItDoesNotFit) {
  EXPECT_EQ(ProgressBar(Download(20000, 50000, milliseconds(2000)), 70),
            "download   40 %  20,000 of 50,000 B   10.0 kB/s  3.00 s left");
}

TEST(ProgressBarTest, LeavesOutOneNumberAfterTheOtherOnANarrowTerminal) {
  const Progress progress = Download(20000, 50000, milliseconds(2000));
  EXPECT_EQ(ProgressBar(progress, 58), "download   40 %  20,000 of 50,000 B");
  EXPECT_EQ(ProgressBar(progress, 35), "download   40 %  20,000 of 50,000 B");
  EXPECT_EQ(ProgressBar(progress, 34), "download   40 %");
  EXPECT_EQ(ProgressBar(progress, 19), "download   40 %");
  EXPECT_EQ(ProgressBar(progress, 14), "download");
  EXPECT_EQ(ProgressBar(progress, 4), "down");
  EXPECT_EQ(ProgressBar(progress, 0), "");
}

TEST(ProgressBarTest, IsNotLongerThanFortyCharacters) {
  const std::string bar = ProgressBar(Download(50000, 50000, milliseconds(5000)), 300);
  EXPECT_EQ(bar, "download  [" + std::string(40, '#') +
                     "] 100 %  50,000 of 50,000 B   10.0 kB/s  5.00 s");
}

}  // namespace
}  // namespace quillmark::host
