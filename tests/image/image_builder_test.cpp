// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>

#include "host/image/image.h"
#include "image/expect_damaged.h"

namespace quillmark::host {
namespace {

constexpr std::array<std::uint8_t, 2> kOneTwo = {1, 2};
constexpr std::array<std::uint8_t, 2> kThreeFour = {3, 4};

TEST(ImageBuilder, JoinsAdjacentRecordsInAnyOrder) {
  ImageBuilder image("f");
  image.Add(0x102, kThreeFour, 1);
  image.Add(0x100, kOneTwo, 2);
  EXPECT_EQ(image.Finish(), (ImageSegments{{0x100, {1, 2, 3, 4}}}));
}

TEST(ImageBuilder, KeepsAGapAndSortsByAddress) {
  ImageBuilder image("f");
  image.Add(0x103, kThreeFour, 1);
  image.Add(0x100, kOneTwo, 2);
  EXPECT_EQ(image.Finish(), (ImageSegments{{0x100, {1, 2}}, {0x103, {3, 4}}}));
}

TEST(ImageBuilder, LeavesOutRecordsWithoutData) {
  ImageBuilder image("f");
  image.Add(0x100, {}, 1);
  EXPECT_EQ(image.Finish(), ImageSegments{});
}

TEST(ImageBuilder, ReportsAnOverlapAtTheLaterLine) {
  ImageBuilder image("f");
  image.Add(0x101, kOneTwo, 3);
  image.Add(0x100, kThreeFour, 7);
  EXPECT_DAMAGED(image.Finish(), "f:7: overlap: address 00000101 already has a value from line 3");
}

TEST(ImageBuilder, ReportsAnOverlapWithEqualValuesToo) {
  ImageBuilder image("f");
  image.Add(0x100, kOneTwo, 1);
  image.Add(0x100, kOneTwo, 2);
  EXPECT_DAMAGED(image.Finish(), "f:2: overlap: address 00000100 already has a value from line 1");
}

TEST(ImageBuilder, HoldsTheLastByteOfTheAddressSpace) {
  ImageBuilder image("f");
  image.Add(0xFFFFFFFE, kOneTwo, 1);
  EXPECT_EQ(image.Finish(), (ImageSegments{{0xFFFFFFFE, {1, 2}}}));
}

TEST(ImageBuilder, RefusesDataPastTheAddressSpace) {
  ImageBuilder image("f");
  EXPECT_DAMAGED(image.Add(0xFFFFFFFF, kOneTwo, 4),
                 "f:4: 2 bytes from address FFFFFFFF on run past address FFFFFFFF");
}

}  // namespace
}  // namespace quillmark::host
