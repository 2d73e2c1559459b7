// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "host/image/record_files.h"
#include "tests/host/image/expect_damaged.h"

namespace quillmark::host {
namespace {

ImageSegments ReadRecords(std::string_view text) { return ReadSRecord(text, "a.s19").segments; }

std::string WriteRecords(const ImageSegments& segments, std::size_t bytes_per_record) {
  std::ostringstream out;
  WriteSRecord(out, segments, bytes_per_record);
  return out.str();
}

TEST(SRecordReader, ReadsTheThreeAddressWidths) {
  EXPECT_EQ(ReadRecords("S00600004844521B\n"
                        "S1041234AB0A\n"
                        "S205123456ABB3\n"
                        "S30612345678AB3A\n"
                        "S9030000FC\n"),
            (ImageSegments{{0x1234, {0xAB}}, {0x123456, {0xAB}}, {0x12345678, {0xAB}}}));
}

TEST(SRecordReader, TakesAnyEndRecord) {
  EXPECT_EQ(ReadRecords("S70500000000FA\n"), ImageSegments{});
  EXPECT_EQ(ReadRecords("S804000000FB\n"), ImageSegments{});
  EXPECT_EQ(ReadRecords("S9030000FC\n"), ImageSegments{});
}

TEST(SRecordReader, AcceptsLowerCaseCarriageReturnsTrailingBlanksAndBlankLines) {
  EXPECT_EQ(ReadRecords("S1041234ab0a \t\r\n\r\nS9030000fc"), (ImageSegments{{0x1234, {0xAB}}}));
}

TEST(SRecordReader, ComparesBothKindsOfCount) {
  EXPECT_EQ(ReadRecords("S1041234AB0A\nS5030001FB\nS604000001FA\nS9030000FC\n"),
            (ImageSegments{{0x1234, {0xAB}}}));
}

TEST(SRecordReader, TakesARightCountForTheEndOfTheFile) {
  EXPECT_EQ(ReadRecords("S1041234AB0A\nS5030001FB\n"), (ImageSegments{{0x1234, {0xAB}}}));
}

TEST(SRecordReader, ReportsAWrongCount) {
  EXPECT_DAMAGED(ReadRecords("S1041234AB0A\nS5030003F9\nS9030000FC\n"),
                 "a.s19:2: wrong count: the record says 3 data records, found 1");
  EXPECT_DAMAGED(ReadRecords("S1041234AB0A\nS604000003F8\nS9030000FC\n"),
                 "a.s19:2: wrong count: the record says 3 data records, found 1");
}

TEST(SRecordReader, ReportsAWrongChecksum) {
  EXPECT_DAMAGED(ReadRecords("S0030000FC\nS1041234AB0B\n"),
                 "a.s19:2: wrong checksum: expected 0A, found 0B");
}

TEST(SRecordReader, ReportsALineThatIsNoRecord) {
  EXPECT_DAMAGED(ReadRecords("S0030000FC\n1041234AB0A\n"),
                 "a.s19:2: expected 'S' at the start of a record, found '1'");
}

TEST(SRecordReader, ReportsATypeThatIsNotInUse) {
  EXPECT_DAMAGED(ReadRecords("S4030000FC\n"),
                 "a.s19:1: expected a record type S0 to S3 or S5 to S9, found '4' after the S");
  EXPECT_DAMAGED(
      ReadRecords("S\n"),
      "a.s19:1: expected a record type S0 to S3 or S5 to S9, found character 20 after the S");
}

TEST(SRecordReader, ReportsACharacterThatIsNoDigit) {
  EXPECT_DAMAGED(ReadRecords("S1041234AG0A\n"),
                 "a.s19:1: expected a hexadecimal digit in column 10, found 'G'");
}

TEST(SRecordReader, ReportsAnOddNumberOfDigits) {
  EXPECT_DAMAGED(ReadRecords("S1041234AB0\n"),
                 "a.s19:1: expected an even number of hexadecimal digits, found 9");
}

TEST(SRecordReader, ReportsAShortRecord) {
  EXPECT_DAMAGED(ReadRecords("S1020000\n"),
                 "a.s19:1: expected at least 4 bytes in a record S1, found 3");
  EXPECT_DAMAGED(ReadRecords("S705000000FA\n"),
                 "a.s19:1: expected at least 6 bytes in a record S7, found 5");
}

TEST(SRecordReader, ReportsALengthThatDoesNotFit) {
  EXPECT_DAMAGED(ReadRecords("S1051234AB09\n"),
                 "a.s19:1: expected 5 bytes after the length as the record says, found 4");
}

TEST(SRecordReader, ReportsDataInARecordThatHasNone) {
  EXPECT_DAMAGED(ReadRecords("S904000001FA\n"),
                 "a.s19:1: expected no data bytes in a record S9, found 1");
  EXPECT_DAMAGED(ReadRecords("S504000101F9\n"),
                 "a.s19:1: expected no data bytes in a record S5, found 1");
}

TEST(SRecordReader, ReportsAMissingEndRecordAtTheLastLine) {
  EXPECT_DAMAGED(ReadRecords("S0030000FC\nS1041234AB0A\n\n"),
                 "a.s19:2: missing end record: expected S7, S8 or S9 before the end of the file");
}

TEST(SRecordReader, ReportsAMissingEndRecordWhereDataFollowsTheCount) {
  EXPECT_DAMAGED(ReadRecords("S1041234AB0A\nS5030001FB\nS1041235AB09\n"),
                 "a.s19:3: missing end record: expected S7, S8 or S9 before the end of the file");
}

TEST(SRecordReader, ReportsDataAfterTheEndRecord) {
  EXPECT_DAMAGED(ReadRecords("S9030000FC\nS1041234AB0A\n"),
                 "a.s19:2: data after the end record in line 1");
}

TEST(SRecordReader, CountsRepeatedRecords) {
  const ImageContent content = ReadSRecord("S1041234AB0A\nS1041234AB0A\nS9030000FC\n", "a.s19");
  EXPECT_EQ(content.segments, (ImageSegments{{0x1234, {0xAB}}}));
  EXPECT_EQ(content.repeated_records, 1U);
}

TEST(SRecordReader, ReportsAnOverlap) {
  EXPECT_DAMAGED(ReadRecords("S1041234AB0A\nS1041234AC09\nS9030000FC\n"),
                 "a.s19:2: overlap: address 00001234 is AC here, but AB in line 1");
}

TEST(SRecordReader, ReportsDataPastTheAddressSpace) {
  EXPECT_DAMAGED(ReadRecords("S307FFFFFFFF0102F9\nS9030000FC\n"),
                 "a.s19:1: 2 bytes from address FFFFFFFF on run past address FFFFFFFF");
}

TEST(SRecordWriter, WritesTheGivenNumberOfBytesARecordAndTheirCount) {
  EXPECT_EQ(WriteRecords({{0x100, {1, 2, 3}}}, 2),
            "S0030000FC\n"
            "S10501000102F6\n"
            "S104010203F5\n"
            "S5030002FA\n"
            "S9030000FC\n");
}

TEST(SRecordWriter, TakesTheShortestAddressWidthThatHoldsTheLastByte) {
  EXPECT_EQ(WriteRecords({{0xFFFE, {1, 2}}}, 16),
            "S0030000FC\nS105FFFE0102FA\nS5030001FB\nS9030000FC\n");
  EXPECT_EQ(WriteRecords({{0xFFFF, {1, 2}}}, 16),
            "S0030000FC\nS20600FFFF0102F8\nS5030001FB\nS804000000FB\n");
  EXPECT_EQ(WriteRecords({{0xFFFFFE, {1, 2}}}, 16),
            "S0030000FC\nS206FFFFFE0102FA\nS5030001FB\nS804000000FB\n");
  EXPECT_EQ(WriteRecords({{0xFFFFFF, {1, 2}}}, 16),
            "S0030000FC\nS30700FFFFFF0102F8\nS5030001FB\nS70500000000FA\n");
}

TEST(SRecordWriter, CountsMoreThan65535RecordsInTheLongCount) {
  const std::string text = WriteRecords({{0, std::vector<std::uint8_t>(0x10000)}}, 1);
  EXPECT_THAT(text, ::testing::EndsWith("\nS604010000FA\nS9030000FC\n"));
}

TEST(SRecordWriter, WritesAnEmptyImage) {
  EXPECT_EQ(WriteRecords({}, 16), "S0030000FC\nS5030000FC\nS9030000FC\n");
}

}  // namespace
}  // namespace quillmark::host
