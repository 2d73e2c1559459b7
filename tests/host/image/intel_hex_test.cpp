// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "host/image/record_files.h"
#include "tests/host/image/expect_damaged.h"

namespace quillmark::host {
namespace {

ImageSegments Read(std::string_view text) { return ReadIntelHex(text, "a.hex").segments; }

std::string Write(const ImageSegments& segments, std::size_t bytes_per_record) {
  std::ostringstream out;
  WriteIntelHex(out, segments, bytes_per_record);
  return out.str();
}

TEST(IntelHexReader, ReadsDataRecords) {
  EXPECT_EQ(Read(":0301000011223396\n"
                 ":0101030044B7\n"
                 ":00000001FF\n"),
            (ImageSegments{{0x100, {0x11, 0x22, 0x33, 0x44}}}));
}

TEST(IntelHexReader, AddsTheLinearAddress) {
  EXPECT_EQ(Read(":020000040012E8\n"
                 ":013456005520\n"
                 ":00000001FF\n"),
            (ImageSegments{{0x123456, {0x55}}}));
}

TEST(IntelHexReader, AddsTheSegmentAddressTimesSixteen) {
  EXPECT_EQ(Read(":020000021234B6\n"
                 ":0100050055A5\n"
                 ":00000001FF\n"),
            (ImageSegments{{0x12345, {0x55}}}));
}

TEST(IntelHexReader, WrapsAroundWithinASegment) {
  EXPECT_EQ(Read(":020000021000EC\n"
                 ":02FFFF00AABB9B\n"
                 ":00000001FF\n"),
            (ImageSegments{{0x10000, {0xBB}}, {0x1FFFF, {0xAA}}}));
}

TEST(IntelHexReader, RunsOnAcrossALinearBoundary) {
  EXPECT_EQ(Read(":020000040001F9\n"
                 ":02FFFF00AABB9B\n"
                 ":00000001FF\n"),
            (ImageSegments{{0x1FFFF, {0xAA, 0xBB}}}));
}

TEST(IntelHexReader, LeavesOutEntryPoints) {
  EXPECT_EQ(Read(":0400000300003800C1\n"
                 ":04000005000000CD2A\n"
                 ":00000001FF\n"),
            ImageSegments{});
}

TEST(IntelHexReader, AcceptsLowerCaseCarriageReturnsTrailingBlanksAndBlankLines) {
  EXPECT_EQ(Read(":01000000ab54 \t\r\n\r\n:00000001ff\r\n"), (ImageSegments{{0, {0xAB}}}));
}

TEST(IntelHexReader, AcceptsALastLineWithoutLineEnd) {
  EXPECT_EQ(Read(":01000000AB54\n:00000001FF"), (ImageSegments{{0, {0xAB}}}));
}

TEST(IntelHexReader, ReportsAWrongChecksum) {
  EXPECT_DAMAGED(Read(":01000000AB54\n:01000100AB54\n:00000001FF\n"),
                 "a.hex:2: wrong checksum: expected 53, found 54");
}

TEST(IntelHexReader, CountsBlankLinesInLineNumbers) {
  EXPECT_DAMAGED(Read("\n\n:01000000AB55\n"), "a.hex:3: wrong checksum: expected 54, found 55");
}

TEST(IntelHexReader, ReportsAMissingColon) {
  EXPECT_DAMAGED(Read(":01000000AB54\n01000100AB53\n"),
                 "a.hex:2: expected ':' at the start of a record, found '0'");
}

TEST(IntelHexReader, ReportsACharacterThatIsNoDigit) {
  EXPECT_DAMAGED(Read(":01000000AX54\n"),
                 "a.hex:1: expected a hexadecimal digit in column 11, found 'X'");
  EXPECT_DAMAGED(Read(":0100 000AB54\n"),
                 "a.hex:1: expected a hexadecimal digit in column 6, found character 20");
}

TEST(IntelHexReader, ReportsAnOddNumberOfDigits) {
  EXPECT_DAMAGED(Read(":01000000AB5\n"),
                 "a.hex:1: expected an even number of hexadecimal digits, found 11");
}

TEST(IntelHexReader, ReportsAShortRecord) {
  EXPECT_DAMAGED(Read(":00000001\n"), "a.hex:1: expected a record of at least 5 bytes, found 4");
  EXPECT_DAMAGED(Read(":\n"), "a.hex:1: expected a record of at least 5 bytes, found 0");
}

TEST(IntelHexReader, ReportsALengthThatDoesNotFit) {
  EXPECT_DAMAGED(Read(":02000000AB53\n"),
                 "a.hex:1: expected 2 data bytes as the record says, found 1");
}

TEST(IntelHexReader, ReportsAnUnknownType) {
  EXPECT_DAMAGED(Read(":00000006FA\n"), "a.hex:1: expected a record type from 00 to 05, found 06");
}

TEST(IntelHexReader, ReportsARecordTypeWithTheWrongLength) {
  EXPECT_DAMAGED(Read(":0100000400FB\n"),
                 "a.hex:1: expected 2 data bytes in a record of type 04, found 1");
  EXPECT_DAMAGED(Read(":0100000200FD\n"),
                 "a.hex:1: expected 2 data bytes in a record of type 02, found 1");
  EXPECT_DAMAGED(Read(":020000030000FB\n"),
                 "a.hex:1: expected 4 data bytes in a record of type 03, found 2");
  EXPECT_DAMAGED(Read(":020000050000F9\n"),
                 "a.hex:1: expected 4 data bytes in a record of type 05, found 2");
  EXPECT_DAMAGED(Read(":0100000100FE\n"),
                 "a.hex:1: expected 0 data bytes in a record of type 01, found 1");
}

TEST(IntelHexReader, ReportsAMissingEndRecordAtTheLastLine) {
  EXPECT_DAMAGED(
      Read(":01000000AB54\n:01000100AB53\n\n"),
      "a.hex:2: missing end record: expected \":00000001FF\" before the end of the file");
  EXPECT_DAMAGED(
      Read(""), "a.hex:1: missing end record: expected \":00000001FF\" before the end of the file");
}

TEST(IntelHexReader, ReportsDataAfterTheEndRecord) {
  EXPECT_DAMAGED(Read(":00000001FF\n:01000000AB54\n"),
                 "a.hex:2: data after the end record in line 1");
}

TEST(IntelHexReader, CountsRepeatedRecords) {
  const ImageContent content = ReadIntelHex(":01000000AB54\n:01000000AB54\n:00000001FF\n", "a.hex");
  EXPECT_EQ(content.segments, (ImageSegments{{0, {0xAB}}}));
  EXPECT_EQ(content.repeated_records, 1U);
}

TEST(IntelHexReader, ReportsAnOverlap) {
  EXPECT_DAMAGED(Read(":01000000AB54\n:01000000AC53\n:00000001FF\n"),
                 "a.hex:2: overlap: address 00000000 is AC here, but AB in line 1");
}

TEST(IntelHexReader, ReportsDataPastTheAddressSpace) {
  EXPECT_DAMAGED(Read(":02000004FFFFFC\n:02FFFF001122CD\n:00000001FF\n"),
                 "a.hex:2: 2 bytes from address FFFFFFFF on run past address FFFFFFFF");
}

TEST(IntelHexWriter, SplitsARecordAtA64KBoundary) {
  EXPECT_EQ(Write({{0xFFFE, {1, 2, 3}}}, 16),
            ":02FFFE000102FE\n"
            ":020000040001F9\n"
            ":0100000003FC\n"
            ":00000001FF\n");
}

TEST(IntelHexWriter, WritesTheGivenNumberOfBytesARecord) {
  EXPECT_EQ(Write({{0x100, {1, 2, 3}}}, 2),
            ":020100000102FA\n"
            ":0101020003F9\n"
            ":00000001FF\n");
}

TEST(IntelHexWriter, WritesAnEmptyImage) { EXPECT_EQ(Write({}, 16), ":00000001FF\n"); }

}  // namespace
}  // namespace quillmark::host
