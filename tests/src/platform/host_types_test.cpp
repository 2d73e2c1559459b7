// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "platform/portable/memory_byte_string.h"
#include "platform/portable/reference_types.h"
#include "support/expect_error.h"
#include "tests/src/platform/naive_byte_string.h"

namespace quillmark::portable {
namespace {

std::shared_ptr<ByteString> StringOf(const char* hex, std::int32_t start = 1) {
  auto string = std::make_shared<MemoryByteString>();
  string->SetHex(hex);
  string->SetStartAddress(start);
  return string;
}

std::vector<std::string> HexOfAll(const MemoryImage& image) {
  std::vector<std::string> all;
  for (const auto& segment : image.Segments()) {
    all.push_back(segment->Hex());
  }
  return all;
}

TEST(SegmentImage, GivesSegmentsInAddressOrder) {
  SegmentImage image;
  image.AddSegment(*StringOf("03", 300));
  image.AddSegment(*StringOf("01", -1));
  image.AddSegment(*StringOf("02", 200));
  EXPECT_EQ(HexOfAll(image), (std::vector<std::string>{"01", "02", "03"}));
}

TEST(SegmentImage, KeepsTheOrderOfAddingForEqualAddresses) {
  SegmentImage image;
  image.AddSegment(*StringOf("0A", 5));
  image.AddSegment(*StringOf("0B", 4));
  image.AddSegment(*StringOf("0C", 5));
  EXPECT_EQ(HexOfAll(image), (std::vector<std::string>{"0B", "0A", "0C"}));
}

TEST(SegmentImage, JoinsNothing) {
  SegmentImage image;
  image.AddSegment(*StringOf("0102", 10));
  image.AddSegment(*StringOf("03", 12));
  image.AddSegment(*StringOf("", 13));
  EXPECT_EQ(HexOfAll(image), (std::vector<std::string>{"0102", "03", ""}));
}

TEST(SegmentImage, CopiesWhatIsAdded) {
  SegmentImage image;
  const auto segment = StringOf("01", 7);
  image.AddSegment(*segment);
  segment->SetHex("FFFF");
  EXPECT_EQ(HexOfAll(image), (std::vector<std::string>{"01"}));
  EXPECT_EQ(image.Segments().front()->StartAddress(), 7);
}

TEST(SegmentImage, AViewIsCopiedAsAStringThatStartsAtOne) {
  SegmentImage image;
  image.AddSegment(*StringOf("010203", 7)->Mid(8, 2));
  EXPECT_EQ(image.Segments().front()->StartAddress(), 1);
  EXPECT_EQ(HexOfAll(image), (std::vector<std::string>{"0203"}));
}

TEST(SegmentImage, ItsSegmentsAreItsOwn) {
  SegmentImage image;
  image.AddSegment(*StringOf("01", 7));
  image.Segments().front()->SetItem(7, 0xEE);
  EXPECT_EQ(HexOfAll(image), (std::vector<std::string>{"EE"}));
}

TEST(SegmentImage, TakesSegmentsOfAnotherImplementation) {
  const auto foreign = testing::MakeNaiveByteString();
  foreign->SetHex("0A0B");
  foreign->SetStartAddress(1000);
  SegmentImage image;
  image.AddSegment(*foreign);
  EXPECT_EQ(HexOfAll(image), (std::vector<std::string>{"0A0B"}));
  EXPECT_EQ(image.Segments().front()->StartAddress(), 1000);
}

TEST(RangeMap, KeepsRangesInTheOrderOfAdding) {
  RangeMap map;
  map.AddRange(0x8000, 256);
  map.AddRange(-5, 0);
  const auto ranges = map.Ranges();
  ASSERT_EQ(ranges.size(), 2U);
  EXPECT_EQ(ranges[0]->Start(), 0x8000);
  EXPECT_EQ(ranges[0]->Count(), 256);
  EXPECT_EQ(ranges[1]->Start(), -5);
  EXPECT_EQ(ranges[1]->Count(), 0);
}

TEST(SumChecksumCalculator, StoresTheSumHighByteFirst) {
  SumChecksumCalculator checksum;
  checksum.Add(*StringOf("FFFF03"));
  const auto block = StringOf("AA0000");
  checksum.StoreInto(*block);
  EXPECT_EQ(block->Hex(), "AA0201");
}

TEST(SumChecksumCalculator, AddsUpUntilItIsReset) {
  SumChecksumCalculator checksum;
  checksum.Add(*StringOf("01"));
  checksum.Add(*StringOf("02"));
  const auto block = StringOf("0000", 40);
  checksum.StoreInto(*block);
  EXPECT_EQ(block->Hex(), "0003");
  checksum.Reset();
  checksum.StoreInto(*block);
  EXPECT_EQ(block->Hex(), "0000");
}

TEST(SumChecksumCalculator, KeepsTheLow16Bits) {
  SumChecksumCalculator checksum;
  const auto data = StringOf("FF");
  for (int i = 0; i < 258; ++i) {
    checksum.Add(*data);
  }
  const auto block = StringOf("0000");
  checksum.StoreInto(*block);
  EXPECT_EQ(block->Hex(), "00FE");  // 258 * 255 = 0x100FE
}

TEST(SumChecksumCalculator, ReadsAnotherImplementation) {
  const auto foreign = testing::MakeNaiveByteString();
  foreign->SetHex("8081");
  SumChecksumCalculator checksum;
  checksum.Add(*foreign);
  checksum.StoreInto(*foreign);
  EXPECT_EQ(foreign->Hex(), "0101");
}

TEST(SumChecksumCalculator, RefusesABlockBelowTwoBytes) {
  SumChecksumCalculator checksum;
  EXPECT_ERROR(checksum.StoreInto(*StringOf("00")), 9, "Subscript out of range");
  EXPECT_ERROR(checksum.StoreInto(*StringOf("")), 9, "Subscript out of range");
}

}  // namespace
}  // namespace quillmark::portable
