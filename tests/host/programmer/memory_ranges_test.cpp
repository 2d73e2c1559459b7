// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "host/programmer/image_parts.h"
#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

using ::testing::ElementsAre;

class MemoryRangesTest : public ::testing::Test {
 protected:
  std::string RefusalOfImage() {
    workshop_.FailureOf([&] { static_cast<void>(CheckedSize(*workshop_.image)); });
    return workshop_.message;
  }
  std::string RefusalOfMap() {
    workshop_.FailureOf([&] { static_cast<void>(CheckedSize(*map_)); });
    return workshop_.message;
  }

  Workshop workshop_{TransportForm::kPlainCan};
  std::shared_ptr<MemoryMap> map_ = workshop_.platform->CreateMemoryMap();
};

TEST_F(MemoryRangesTest, AddUpTheBytesOfAllSegments) {
  workshop_.AddSegment(0xFFFFFF, Pattern(1));
  workshop_.AddSegment(0, Pattern(10));
  workshop_.AddSegment(10, Pattern(5));
  workshop_.AddSegment(12, Bytes{});
  EXPECT_EQ(CheckedSize(*workshop_.image), 16U);
}

TEST_F(MemoryRangesTest, RefuseAnImageWithoutBytes) {
  EXPECT_EQ(RefusalOfImage(), "prepare: there are no bytes");
  workshop_.AddSegment(5, Bytes{});
  EXPECT_EQ(RefusalOfImage(), "prepare: there are no bytes");
}

TEST_F(MemoryRangesTest, RefuseAddressesBeyond24Bits) {
  workshop_.AddSegment(0xFFFFFF, Pattern(2));
  EXPECT_EQ(RefusalOfImage(),
            "prepare: the addresses 16777215 to 16777216 are not within 0x000000 to 0xFFFFFF");
}

TEST_F(MemoryRangesTest, RefuseNegativeAddresses) {
  workshop_.AddSegment(-1, Pattern(2));
  EXPECT_EQ(RefusalOfImage(), "prepare: the addresses -1 to 0 are not within 0x000000 to 0xFFFFFF");
}

TEST_F(MemoryRangesTest, RefuseOverlappingSegments) {
  workshop_.AddSegment(0x100F, Pattern(16));
  workshop_.AddSegment(0x1000, Pattern(16));
  EXPECT_EQ(RefusalOfImage(), "prepare: address 0x00100F is there twice");
}

TEST_F(MemoryRangesTest, RefuseTheSameInAMap) {
  EXPECT_EQ(RefusalOfMap(), "prepare: there are no bytes");
  map_->AddRange(0, 10);
  EXPECT_EQ(CheckedSize(*map_), 10U);
  map_->AddRange(9, 1);
  EXPECT_EQ(RefusalOfMap(), "prepare: address 0x000009 is there twice");
}

TEST_F(MemoryRangesTest, RefuseANegativeLength) {
  map_->AddRange(0, -1);
  EXPECT_EQ(RefusalOfMap(), "prepare: a range has a negative length");
}

TEST_F(MemoryRangesTest, AreComparedByteByByteAcrossSegments) {
  workshop_.AddSegment(0x10, Pattern(10));
  Workshop found(TransportForm::kPlainCan);
  found.AddSegment(0x0E, {0xEE, 0xEE, 1, 2, 3});
  found.AddSegment(0x13, {4, 5, 0x66, 7});
  found.AddSegment(0x18, {9, 10, 11});
  const Comparison comparison = Compare(*workshop_.image, *found.image);
  EXPECT_EQ(comparison.equal_bytes, 8U);
  EXPECT_EQ(comparison.different_bytes, 2U);
  EXPECT_THAT(comparison.differences,
              ElementsAre(Difference{0x15, 6, 0x66}, Difference{0x17, 8, std::nullopt}));
}

TEST_F(MemoryRangesTest, AreAllDifferentWhereNothingWasFound) {
  workshop_.AddSegment(0x10, Pattern(100));
  const Comparison comparison = Compare(*workshop_.image, *workshop_.platform->CreateMemoryImage());
  EXPECT_EQ(comparison.equal_bytes, 0U);
  EXPECT_EQ(comparison.different_bytes, 100U);
  EXPECT_EQ(comparison.differences.size(), 16U);
}

}  // namespace
}  // namespace quillmark::host
