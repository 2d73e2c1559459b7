// SPDX-License-Identifier: MIT
#include "host/bus/wire_time.h"

#include <gmock/gmock.h>

namespace quillmark::host {
namespace {

using std::chrono::microseconds;

constexpr Exchange kStandard{TransportForm::kPlainCan, 0x73A, 0x632};
constexpr Exchange kExtended{TransportForm::kPlainCan, 0x18DAF110, 0x18DA10F1};
constexpr Exchange kGateway{TransportForm::kGateway, 3, 13};
constexpr Exchange kOnKLine{TransportForm::kKLine};

// 47 bits around the data, 64 of data, 24 stuffed at most.
TEST(WireTime, OfAStandardCanFrame) {
  EXPECT_EQ(WireTime(kStandard, 8, {.can_bit_rate = 500'000}), microseconds(270));
  EXPECT_EQ(WireTime(kStandard, 8, {.can_bit_rate = 1'000'000}), microseconds(135));
  EXPECT_EQ(WireTime(kStandard, 0, {.can_bit_rate = 500'000}), microseconds(110));
}

TEST(WireTime, OfAnExtendedCanFrame) {
  EXPECT_EQ(WireTime(kExtended, 8, {.can_bit_rate = 500'000}), microseconds(320));
}

TEST(WireTime, OfAGatewayFrameIsThatOfAStandardOne) {
  EXPECT_EQ(WireTime(kGateway, 8, {.can_bit_rate = 500'000}), microseconds(270));
}

TEST(WireTime, OfAKLineMessageIsTenBitsAByte) {
  EXPECT_EQ(WireTime(kOnKLine, 5, {.k_line_baud = 10'000}), microseconds(5000));
}

TEST(WireTime, IsRoundedUp) {
  EXPECT_EQ(WireTime(kOnKLine, 1, {.k_line_baud = 10'400}), microseconds(962));
}

}  // namespace
}  // namespace quillmark::host
