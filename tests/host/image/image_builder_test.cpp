// SPDX-License-Identifier: MIT
#include "host/image/image_builder.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/host/image/expect_damaged.h"

namespace quillmark::host {
namespace {

constexpr std::array<std::uint8_t, 2> kOneTwo = {1, 2};
constexpr std::array<std::uint8_t, 2> kThreeFour = {3, 4};

TEST(ImageBuilder, JoinsAdjacentRecordsInAnyOrder) {
  ImageBuilder image("f");
  image.Add(0x102, kThreeFour, 1);
  image.Add(0x100, kOneTwo, 2);
  EXPECT_EQ(image.Finish().segments, (ImageSegments{{0x100, {1, 2, 3, 4}}}));
}

TEST(ImageBuilder, KeepsAGapAndSortsByAddress) {
  ImageBuilder image("f");
  image.Add(0x103, kThreeFour, 1);
  image.Add(0x100, kOneTwo, 2);
  EXPECT_EQ(image.Finish().segments, (ImageSegments{{0x100, {1, 2}}, {0x103, {3, 4}}}));
}

TEST(ImageBuilder, LeavesOutRecordsWithoutData) {
  ImageBuilder image("f");
  image.Add(0x100, {}, 1);
  EXPECT_EQ(image.Finish().segments, ImageSegments{});
}

TEST(ImageBuilder, ReportsAContradictionAtTheLaterLine) {
  ImageBuilder image("f");
  image.Add(0x101, kOneTwo, 3);
  image.Add(0x100, kThreeFour, 7);
  EXPECT_DAMAGED(image.Finish(), "f:7: overlap: address 00000101 is 04 here, but 01 in line 3");
}

TEST(ImageBuilder, ReportsTheFirstByteThatContradicts) {
  constexpr std::array<std::uint8_t, 4> kOneToFour = {1, 2, 3, 4};
  ImageBuilder image("f");
  image.Add(0x100, kOneToFour, 1);
  image.Add(0x101, std::array<std::uint8_t, 3>{2, 3, 5}, 2);
  EXPECT_DAMAGED(image.Finish(), "f:2: overlap: address 00000103 is 05 here, but 04 in line 1");
}

TEST(ImageBuilder, CountsRecordsThatRepeatWhatOthersSay) {
  constexpr std::array<std::uint8_t, 4> kOneToFour = {1, 2, 3, 4};
  ImageBuilder image("f");
  image.Add(0x100, kOneToFour, 1);
  image.Add(0x102, kThreeFour, 2);
  image.Add(0x100, kOneTwo, 3);
  image.Add(0x103, std::array<std::uint8_t, 2>{4, 5}, 4);
  image.Add(0x105, kOneTwo, 5);
  const ImageContent content = image.Finish();
  EXPECT_EQ(content.segments, (ImageSegments{{0x100, {1, 2, 3, 4, 5, 1, 2}}}));
  EXPECT_EQ(content.repeated_records, 3U);
}

TEST(ImageBuilder, RepeatsTheLastByteOfTheAddressSpace) {
  ImageBuilder image("f");
  image.Add(0xFFFFFFFE, kOneTwo, 1);
  image.Add(0xFFFFFFFE, kOneTwo, 2);
  EXPECT_EQ(image.Finish().segments, (ImageSegments{{0xFFFFFFFE, {1, 2}}}));
}

TEST(ImageBuilder, HoldsTheLastByteOfTheAddressSpace) {
  ImageBuilder image("f");
  image.Add(0xFFFFFFFE, kOneTwo, 1);
  EXPECT_EQ(image.Finish().segments, (ImageSegments{{0xFFFFFFFE, {1, 2}}}));
}

TEST(ImageBuilder, RefusesDataPastTheAddressSpace) {
  ImageBuilder image("f");
  EXPECT_DAMAGED(image.Add(0xFFFFFFFF, kOneTwo, 4),
                 "f:4: 2 bytes from address FFFFFFFF on run past address FFFFFFFF");
}

TEST(JoinedImages, AgreeWhereTheyOverlap) {
  const ImageSegments low{{0x100, {1, 2, 3}}, {0x200, {9}}};
  const ImageSegments high{{0x102, {3, 4}}, {0x1FF, {8}}};
  EXPECT_EQ(JoinImages({{"a", low}, {"b", high}}),
            (ImageSegments{{0x100, {1, 2, 3, 4}}, {0x1FF, {8, 9}}}));
}

TEST(JoinedImages, AreRefusedWhereTheyContradictEachOther) {
  const ImageSegments low{{0x100, {1, 2, 3}}};
  const ImageSegments other{{0x200, {1}}};
  const ImageSegments high{{0x101, {2, 4}}};
  EXPECT_DAMAGED(JoinImages({{"a", low}, {"b", other}, {"c", high}}),
                 "c: overlap: address 00000102 is 04 here, but 03 in a");
  EXPECT_DAMAGED(JoinImages({{"c", high}, {"b", other}, {"a", low}}),
                 "a: overlap: address 00000102 is 03 here, but 04 in c");
}

}  // namespace
}  // namespace quillmark::host
