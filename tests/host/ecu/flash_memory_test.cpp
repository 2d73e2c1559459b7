// SPDX-License-Identifier: MIT
#include "host/ecu/flash_memory.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

const std::vector<FlashAreaOptions> kTwoAreas{
    {.identifier = 1, .start = 0x1000, .size = 0x2000, .content = 0x5A},
    {.identifier = 2, .start = 0x8000, .size = 0x100, .content = 0x00}};

TEST(FlashMemory, HoldsTheOldProgramAtFirst) {
  const FlashMemory flash(kTwoAreas, {});
  EXPECT_EQ(flash.Read(0x1000, 2), Hex("5A5A"));
  EXPECT_EQ(flash.Read(0x80FF, 1), Hex("00"));
  EXPECT_FALSE(flash.IsErased(0x1000, 2));
}

TEST(FlashMemory, KnowsItsAreas) {
  const FlashMemory flash(kTwoAreas, {});
  EXPECT_TRUE(flash.HasArea(2));
  EXPECT_FALSE(flash.HasArea(3));
  EXPECT_EQ(flash.AreaOf(0x1000, 0x2000), 1);
  EXPECT_EQ(flash.AreaOf(0x80FF, 1), 2);
  EXPECT_EQ(flash.AreaOf(0x1001, 0x2000), std::nullopt);
  EXPECT_EQ(flash.AreaOf(0x0FFF, 1), std::nullopt);
  EXPECT_EQ(flash.AreaOf(0x8000, 0), std::nullopt);
}

TEST(FlashMemory, ErasesOneAreaAsAWhole) {
  FlashMemory flash(kTwoAreas, {});
  flash.Erase(1);
  EXPECT_TRUE(flash.IsErased(0x1000, 0x2000));
  EXPECT_EQ(flash.Read(0x8000, 1), Hex("00"));
}

TEST(FlashMemory, KeepsWhatIsWrittenAcrossPages) {
  FlashMemory flash(kTwoAreas, {});
  flash.Erase(1);
  flash.Write(0x1FFE, Hex("01020304"));
  EXPECT_EQ(flash.Read(0x1FFD, 6), Hex("FF01020304FF"));
  EXPECT_FALSE(flash.IsErased(0x2001, 1));
  EXPECT_TRUE(flash.IsErased(0x2002, 1));
  flash.Erase(1);
  EXPECT_TRUE(flash.IsErased(0x1FFE, 4));
}

TEST(FlashMemory, ABadCellStaysErased) {
  FlashMemory flash(kTwoAreas, {0x1001});
  flash.Erase(1);
  flash.Write(0x1000, Hex("010203"));
  EXPECT_EQ(flash.Read(0x1000, 3), Hex("01FF03"));
}

TEST(FlashMemory, HasNothingOutsideItsAreas) {
  const FlashMemory flash(kTwoAreas, {});
  EXPECT_THROW(static_cast<void>(flash.Read(0x0FFF, 1)), std::out_of_range);
}

TEST(FlashMemory, ReachesTheLastAddress) {
  FlashMemory flash({FlashAreaOptions{}}, {});
  flash.Erase(0);
  flash.Write(0xFFFFFF, Hex("77"));
  EXPECT_EQ(flash.Read(0xFFFFFE, 2), Hex("FF77"));
  EXPECT_EQ(flash.AreaOf(0xFFFFFF, 2), std::nullopt);
}

TEST(FlashMemory, RefusesAreasThatMakeNoMemory) {
  const auto make = [](const std::vector<FlashAreaOptions>& areas) { FlashMemory(areas, {}); };
  EXPECT_THROW(make({{.identifier = 1, .start = 0, .size = 0}}), std::invalid_argument);
  EXPECT_THROW(make({{.identifier = 1, .start = 1, .size = 0x1000000}}), std::invalid_argument);
  EXPECT_THROW(make({{.identifier = 1, .start = 0x1000000, .size = 1}}), std::invalid_argument);
  EXPECT_THROW(
      make({{.identifier = 1, .start = 0, .size = 16}, {.identifier = 2, .start = 15, .size = 16}}),
      std::invalid_argument);
  EXPECT_THROW(
      make({{.identifier = 1, .start = 0, .size = 16}, {.identifier = 1, .start = 16, .size = 16}}),
      std::invalid_argument);
}

}  // namespace
}  // namespace quillmark::host
