// SPDX-License-Identifier: MIT
// How long a frame occupies a wire, and what faults do to it.
#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {
namespace {

using std::chrono::microseconds;
using ::testing::ElementsAre;

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

TEST(WireTime, RefusesASpeedOfZero) {
  EXPECT_THROW(static_cast<void>(WireTime(kStandard, 8, {.can_bit_rate = 0})),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(WireTime(kOnKLine, 8, {.k_line_baud = 0})), std::invalid_argument);
}

/// What becomes of five equal frames; the text of BusError where the adapter goes.
std::vector<std::string> Arrived(const WireFaults& faults) {
  const SimulatedWire::FaultInjector inject = InjectorOf(faults);
  std::vector<std::string> arrived;
  try {
    for (int frame = 0; frame < 5; ++frame) {
      std::string bytes = "-";
      for (const FrameOnWire& each : inject({Direction::kToEcu, {}, {0x11, 0x22, 0x33}})) {
        bytes = HexOf(each.data);
      }
      arrived.push_back(bytes);
    }
  } catch (const BusError& error) {
    arrived.emplace_back(error.what());
  }
  return arrived;
}

TEST(WireFaults, AreNoneAtFirst) {
  EXPECT_THAT(Arrived({}), ElementsAre("112233", "112233", "112233", "112233", "112233"));
}

TEST(WireFaults, LoseOneFrame) {
  EXPECT_THAT(Arrived({.lost_frame = 2}), ElementsAre("112233", "-", "112233", "112233", "112233"));
}

TEST(WireFaults, LoseEveryNthFrame) {
  EXPECT_THAT(Arrived({.lost_every = 2}), ElementsAre("112233", "-", "112233", "-", "112233"));
}

TEST(WireFaults, CannotLoseEveryZerothFrame) {
  EXPECT_THROW(static_cast<void>(InjectorOf({.lost_every = 0})), std::invalid_argument);
}

TEST(WireFaults, FlipTheByteInTheMiddleOfOneFrame) {
  EXPECT_THAT(Arrived({.flipped_frame = 1}),
              ElementsAre("11DD33", "112233", "112233", "112233", "112233"));
}

TEST(WireFaults, SilenceTheEcuFromAFrameOn) {
  EXPECT_THAT(Arrived({.silent_from = 4}), ElementsAre("112233", "112233", "112233", "-", "-"));
}

TEST(WireFaults, TakeTheAdapterAway) {
  EXPECT_THAT(Arrived({.unplugged_at = 3}), ElementsAre("112233", "112233", "the device is gone"));
}

}  // namespace
}  // namespace quillmark::host
