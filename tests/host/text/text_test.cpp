// SPDX-License-Identifier: MIT
#include "quillmark/host/text.h"

#include <gtest/gtest.h>

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(Text, GivesTimesTheirPrecision) {
  EXPECT_EQ(TimeText(Duration(0)), "0.00 s");
  EXPECT_EQ(TimeText(milliseconds(420)), "0.42 s");
  EXPECT_EQ(TimeText(milliseconds(9994)), "9.99 s");
  EXPECT_EQ(TimeText(milliseconds(9996)), "10.0 s");
  EXPECT_EQ(TimeText(milliseconds(99940)), "99.9 s");
  EXPECT_EQ(TimeText(milliseconds(99960)), "1:40 min");
  EXPECT_EQ(TimeText(seconds(3605)), "60:05 min");
}

TEST(Text, GivesRatesTheirUnit) {
  EXPECT_EQ(RateText(500, seconds(2)), "250 B/s");
  EXPECT_EQ(RateText(5000, seconds(2)), "2.5 kB/s");
  EXPECT_EQ(RateText(5000, seconds(0)), "-");
}

TEST(Text, ShowsARecordAsCharactersWhereItCan) {
  EXPECT_EQ(RecordText(Bytes{'E', 'C', 'U', ' ', '1', ' ', 0, ' '}), "ECU 1");
  EXPECT_EQ(RecordText(Bytes{'E', 0x07, ' '}), "4507");
  EXPECT_EQ(RecordText(Bytes{' ', 0}), "-");
  EXPECT_EQ(RecordText(Bytes{}), "-");
}

}  // namespace
}  // namespace quillmark::host
