// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sstream>

#include "quillmark/host/trace.h"
#include "support/limited_stream.h"

namespace quillmark::host::testing {
namespace {

using std::chrono::milliseconds;

constexpr TraceWriter::Clock::time_point kBegan{std::chrono::seconds(1'000'000'000)};

TraceEntry Frame(Direction direction, const Exchange& exchange, Bytes data) {
  return {.at = Duration(1'000'042),
          .direction = direction,
          .exchange = exchange,
          .data = std::move(data)};
}

std::string Written(TraceFormat format, const std::vector<TraceEntry>& entries) {
  std::ostringstream out;
  TraceWriter writer(out, format, kBegan);
  for (const TraceEntry& entry : entries) {
    writer.Write(entry);
  }
  return out.str();
}

constexpr Exchange kStandard{TransportForm::kPlainCan, 0x73A, 0x632};
constexpr Exchange kExtended{TransportForm::kPlainCan, 0x18DAF110, 0x18DA10F1};
constexpr Exchange kKLine{TransportForm::kKLine, 0, 0};

TEST(TraceWriter, WritesCandumpLinesWithDates) {
  EXPECT_EQ(Written(TraceFormat::kCandump,
                    {Frame(Direction::kToEcu, kStandard, {0x02, 0x10, 0xC0}),
                     Frame(Direction::kToTester, kStandard, {0x02, 0x50, 0xC0, 0xAA})}),
            "(1000000001.000042) can0 632#0210C0\n"
            "(1000000001.000042) can0 73A#0250C0AA\n");
}

TEST(TraceWriter, WritesExtendedIdentifiersWithEightDigitsIntoACandumpLog) {
  EXPECT_EQ(Written(TraceFormat::kCandump, {Frame(Direction::kToEcu, kExtended, {0x3E})}),
            "(1000000001.000042) can0 18DA10F1#3E\n");
}

TEST(TraceWriter, NamesAGatewayAndItsLineInACandumpLog) {
  EXPECT_EQ(Written(TraceFormat::kCandump,
                    {Frame(Direction::kToEcu, {TransportForm::kGateway, 3, 13}, {0x81})}),
            "(1000000001.000042) gateway 00D#81\n");
}

TEST(TraceWriter, WritesAscLinesWithDirectionsAndTimesFromTheBeginning) {
  EXPECT_EQ(Written(TraceFormat::kAsc,
                    {Frame(Direction::kToEcu, kStandard, {0x02, 0x10, 0xC0}),
                     Frame(Direction::kToTester, kExtended, {0x02, 0x50, 0xC0, 0xAA})}),
            "date Sun Sep 09 01:46:40 2001\n"
            "base hex  timestamps absolute\n"
            "no internal events logged\n"
            "   1.000042 1  632             Tx   d 3 02 10 C0\n"
            "   1.000042 1  18DAF110x       Rx   d 4 02 50 C0 AA\n");
}

TEST(TraceWriter, WritesAKLineAsReadableLines) {
  EXPECT_EQ(Written(TraceFormat::kKLine,
                    {{.kind = TraceEntryKind::kBreak, .exchange = kKLine, .low = milliseconds(25)},
                     Frame(Direction::kToEcu, kKLine, {0x81, 0x11, 0xF1, 0x81, 0x04}),
                     Frame(Direction::kToTester, kKLine, {0x83, 0xF1})}),
            "# quillmark K line trace 1: seconds, > to the ECU or < from it, bytes\n"
            "   0.000000 break 25 ms\n"
            "   1.000042 > 81 11 F1 81 04\n"
            "   1.000042 < 83 F1\n");
}

TEST(TraceWriter, EndsAtTheFirstFailureOfItsStream) {
  for (const TraceFormat format : {TraceFormat::kCandump, TraceFormat::kAsc, TraceFormat::kKLine}) {
    quillmark::testing::ExpectEndsWithItsStream([format](std::ostream& out) {
      TraceWriter writer(out, format, kBegan);
      for (int i = 0; i < 3; ++i) {
        writer.Write(Frame(Direction::kToEcu, kStandard, {0x02, 0x10, 0xC0}));
      }
    });
  }
}

}  // namespace
}  // namespace quillmark::host::testing
