// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sstream>

#include "quillmark/host/trace.h"

namespace quillmark::host::testing {
namespace {

constexpr Exchange kPlain{TransportForm::kPlainCan, 0x73A, 0x632};

Trace Read(const std::string& text, const std::optional<Exchange>& exchange = {}) {
  std::istringstream in(text);
  return ReadTrace(in, exchange);
}

std::string ErrorOf(const std::string& text) {
  try {
    static_cast<void>(Read(text));
  } catch (const DamagedTrace& error) {
    return error.what();
  }
  return "none";
}

TraceEntry Frame(int at, Direction direction, const Exchange& exchange, Bytes data) {
  return {
      .at = Duration(at), .direction = direction, .exchange = exchange, .data = std::move(data)};
}

TEST(TraceReader, TakesTheFirstFrameOfACandumpLogForTheTesters) {
  const Trace trace = Read(
      "(1000000001.500000) vcan7 632#0210C0\n"
      "(1000000001.502270) vcan7 73A#0250C0AA R\n");
  EXPECT_EQ(trace.exchange, kPlain);
  EXPECT_EQ(trace.entries,
            (std::vector{Frame(0, Direction::kToEcu, kPlain, {0x02, 0x10, 0xC0}),
                         Frame(2270, Direction::kToTester, kPlain, {0x02, 0x50, 0xC0, 0xAA})}));
}

TEST(TraceReader, EndsWithinALineThatHasNoEnd) {
  const std::string line(70'000, '1');
  EXPECT_EQ(ErrorOf(line), "line 1: expected a line of at most 65535 bytes, found more");
  const Trace trace = Read("(5.0) can0 632#81\n(5.1) can0 632#" + line);
  EXPECT_EQ(trace.entries.size(), 1U);
  EXPECT_EQ(trace.damage, "line 2: expected a line of at most 65535 bytes, found more");
}

/// The same line over and over.
class EndlessInput : public std::streambuf {
 protected:
  int_type underflow() override {
    setg(line_.data(), line_.data(), line_.data() + line_.size());
    return traits_type::to_int_type(line_.front());
  }

 private:
  std::string line_ = "(5.0) can0 632#81\n";
};

TEST(TraceReader, EndsSomewhereInInputThatHasNoEnd) {
  EndlessInput input;
  std::istream in(&input);
  const Trace trace = ReadTrace(in, kPlain, 100);
  EXPECT_EQ(trace.entries.size(), 5U);
  EXPECT_EQ(trace.damage, "line 6: expected a trace of at most 100 bytes, found more");
}

TEST(TraceReader, LeavesOtherIdentifiersOut) {
  const Trace trace = Read(
      "(5.0) can0 100#0011\n"
      "(6.0) can0 632#0210C0\n"
      "(7.0) can0 1FFFFFFF#22\n",
      kPlain);
  EXPECT_EQ(trace.entries, (std::vector{Frame(0, Direction::kToEcu, kPlain, {0x02, 0x10, 0xC0})}));
}

TEST(TraceReader, LeavesRemoteErrorAndFdFramesOut) {
  const Trace trace = Read(
      "(5.0) can0 632#R\n"
      "(5.1) can0 632##12233\n"
      "(5.2) can0 20000004#0000000000000000\n"
      "(6.0) can0 632#81\n");
  EXPECT_EQ(trace.entries.size(), 1U);
}

TEST(TraceReader, ReadsAscFiles) {
  const Trace trace = Read(
      "date Sun Sep 09 01:46:40 2001\n"
      "base hex  timestamps absolute\n"
      "no internal events logged\n"
      "   0.000042 1  18DA10F1x       Tx   d 3 02 10 C0\n"
      "   0.001042 1  18DAF110x       Rx   d 2 50 C0  Length = 200000 BitCount = 103\n");
  const Exchange exchange{TransportForm::kPlainCan, 0x18DAF110, 0x18DA10F1};
  EXPECT_EQ(trace.entries,
            (std::vector{Frame(0, Direction::kToEcu, exchange, {0x02, 0x10, 0xC0}),
                         Frame(1000, Direction::kToTester, exchange, {0x50, 0xC0})}));
}

TEST(TraceReader, RefusesWhatIsNoTrace) {
  EXPECT_EQ(ErrorOf(""), "the trace is empty");
  EXPECT_EQ(ErrorOf("hello\n"),
            "line 1: expected a candump log, an ASC file or a K line trace, found \"hello\"");
}

TEST(TraceReader, QuotesTheBeginningOfALongLine) {
  EXPECT_LT(ErrorOf(std::string(100'000, 'x')).size(), 250U);
}

TEST(TraceReader, EndsAtADamagedLineAndNamesIt) {
  const Trace cut_off = Read("(5.0) can0 632#81\n(5.1) can0 632#8");
  EXPECT_EQ(cut_off.entries.size(), 1U);
  EXPECT_EQ(cut_off.damage,
            "line 2: expected (SECONDS) INTERFACE IDENTIFIER#DATA, found \"(5.1) can0 632#8\"");
  EXPECT_EQ(Read("base hex\n 1.0 1 632 Rx d 2 81\n").damage,
            "line 2: expected a frame in hexadecimal digits, found \" 1.0 1 632 Rx d 2 81\"");
  EXPECT_EQ(Read("# quillmark K line trace 1\n\n1.0 > 8\n").damage,
            "line 3: expected SECONDS > BYTES, SECONDS < BYTES or SECONDS break TIME ms, found "
            "\"1.0 > 8\"");
}

class WrittenTrace : public ::testing::TestWithParam<std::pair<TraceFormat, Exchange>> {};

TEST_P(WrittenTrace, ReadsBackAsItWas) {
  const auto& [format, exchange] = GetParam();
  std::vector<TraceEntry> entries{
      Frame(0, Direction::kToEcu, exchange, {0x81, 0x11, 0xF1, 0x81, 0x04}),
      Frame(123'456'789, Direction::kToTester, exchange, {0x00, 0xFF})};
  if (exchange.form == TransportForm::kKLine) {
    entries.insert(entries.begin(), {.kind = TraceEntryKind::kBreak,
                                     .exchange = exchange,
                                     .low = std::chrono::milliseconds(25)});
  }
  std::stringstream file;
  TraceWriter writer(file, format, TraceWriter::Clock::now());
  for (const TraceEntry& entry : entries) {
    writer.Write(entry);
  }
  const Trace trace = ReadTrace(file);
  EXPECT_EQ(trace.exchange, exchange);
  EXPECT_EQ(trace.entries, entries);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, WrittenTrace,
    ::testing::Values(std::pair{TraceFormat::kCandump, kPlain},
                      std::pair{TraceFormat::kCandump,
                                Exchange{TransportForm::kPlainCan, 0x18DAF110, 0x18DA10F1}},
                      std::pair{TraceFormat::kCandump, Exchange{TransportForm::kGateway, 3, 13}},
                      std::pair{TraceFormat::kAsc, kPlain},
                      std::pair{TraceFormat::kAsc, Exchange{TransportForm::kGateway, 3, 13}},
                      std::pair{TraceFormat::kKLine, Exchange{TransportForm::kKLine, 0, 0}}));

}  // namespace
}  // namespace quillmark::host::testing
