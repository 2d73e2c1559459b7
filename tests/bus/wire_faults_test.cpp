// SPDX-License-Identifier: MIT
#include "host/bus/wire_faults.h"

#include <gmock/gmock.h>

#include <string>

namespace quillmark::host {
namespace {

using ::testing::ElementsAre;

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
