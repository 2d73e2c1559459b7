// SPDX-License-Identifier: MIT
#include "host/tool/reporter.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/limited_stream.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

Progress At(Phase phase, std::uint64_t done, std::uint64_t total) {
  return {phase, done, total, milliseconds(100), milliseconds(1500)};
}

// A phase without bytes, then one that moves 1000 bytes in steps of 4 %.
void Work(Reporter& reporter) {
  reporter.OnProgress(At(Phase::kErase, 0, 0));
  for (std::uint64_t done = 0; done <= 1000; done += 40) {
    reporter.OnProgress(At(Phase::kDownload, done, 1000));
  }
  reporter.EndProgress();
}

std::size_t Occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(EveryReporter, EndsAtTheFirstFailureOfItsStream) {
  for (const ReportStyle style :
       {ReportStyle::kPlain, ReportStyle::kTerminal, ReportStyle::kJson}) {
    quillmark::testing::ExpectEndsWithItsStream([style](std::ostream& out) {
      const auto reporter = MakeReporter(style, out);
      Work(*reporter);
      reporter->Line("a line");
      reporter->Event(EventKind::kDone, {{"bytes", 5}});
    });
  }
}

TEST(PlainReporter, PrintsALineForEachPhaseAndTenth) {
  std::ostringstream out;
  Work(*MakeReporter(ReportStyle::kPlain, out));
  EXPECT_EQ(out.str().substr(0, out.str().find('\n') + 1), "erase\n");
  EXPECT_EQ(Occurrences(out.str(), "\n"), 12U);
  EXPECT_EQ(Occurrences(out.str(), "download   12 %    120 of 1,000 B"), 1U);
  EXPECT_EQ(Occurrences(out.str(), "\r"), 0U);
}

TEST(PlainReporter, PrintsLinesAndNoEvents) {
  std::ostringstream out;
  const auto reporter = MakeReporter(ReportStyle::kPlain, out);
  reporter->Event(EventKind::kDone, {{"bytes", 1}});
  reporter->Line("text");
  EXPECT_EQ(out.str(), "text\n");
}

TEST(PlainReporter, KeepsALineOneLine) {
  std::ostringstream out;
  MakeReporter(ReportStyle::kPlain, out)->Line("image     a\ndone");
  MakeReporter(ReportStyle::kTerminal, out)->Line("image     a\ndone");
  EXPECT_EQ(out.str(), "image     a\\u000adone\nimage     a\\u000adone\n");
}

TEST(TerminalReporter, RedrawsALineInPlaceAndKeepsItsLastState) {
  std::ostringstream out;
  const auto reporter = MakeReporter(ReportStyle::kTerminal, out);
  Work(*reporter);
  reporter->Line("after");
  EXPECT_EQ(Occurrences(out.str(), "\n"), 3U);
  EXPECT_EQ(Occurrences(out.str(), "\rdownload  [---------------]   0 %"), 1U);
  EXPECT_NE(out.str().find("100 %  1,000 of 1,000 B   10.0 kB/s  0.10 s     \nafter\n"),
            std::string::npos);
}

TEST(TerminalReporter, LeavesNothingOfALongerLineBehind) {
  std::ostringstream out;
  const auto reporter = MakeReporter(ReportStyle::kTerminal, out, [] { return 40; });
  reporter->OnProgress(At(Phase::kDownload, 10, 1000));
  reporter->OnProgress(At(Phase::kDownload, 0, 0));
  const std::string drawn = out.str();
  const std::size_t second = drawn.rfind('\r');
  EXPECT_EQ(drawn.substr(second),
            "\rdownload" + std::string(second - std::string("\rdownload").size(), ' '));
}

TEST(TerminalReporter, FitsEachLineToTheWidthOfThatMoment) {
  std::ostringstream out;
  std::size_t columns = 80;
  const auto reporter = MakeReporter(ReportStyle::kTerminal, out, [&columns] { return columns; });
  reporter->OnProgress(At(Phase::kDownload, 200, 1000));
  columns = 20;
  reporter->OnProgress(At(Phase::kDownload, 400, 1000));
  EXPECT_EQ(out.str(),
            "\rdownload  [###------------]  20 %    200 of 1,000 B    2.0 kB/s  0.40 s left"
            "\rdownload   40 %    ");
}

TEST(JsonReporter, PrintsAnEventForEachPercent) {
  std::ostringstream out;
  Work(*MakeReporter(ReportStyle::kJson, out));
  EXPECT_EQ(Occurrences(out.str(), "\n"), 27U);
  EXPECT_EQ(
      out.str().substr(0, out.str().find('\n')),
      R"({"event":"progress","phase":"erase","bytes":0,"total":0,"seconds":1.5,"repeated":0,"passed_over":0})");
  EXPECT_EQ(Occurrences(out.str(), R"({"event":"progress","phase":"download","bytes":40,)"
                                   R"("total":1000,"seconds":1.5,"repeated":0,"passed_over":0})"
                                   "\n"),
            1U);
}

TEST(JsonReporter, PrintsEventsAndNoLines) {
  std::ostringstream out;
  const auto reporter = MakeReporter(ReportStyle::kJson, out);
  reporter->Line("text");
  reporter->Event(EventKind::kDone, {{"bytes", 1}});
  EXPECT_EQ(out.str(), "{\"event\":\"done\",\"bytes\":1}\n");
}

TEST(JsonReporter, StaysValidWhereAFileNameIsNotUtf8) {
  std::ostringstream out;
  MakeReporter(ReportStyle::kJson, out)->Event(EventKind::kDone, {{"file", "\xFF.hex"}});
  EXPECT_EQ(out.str(), "{\"event\":\"done\",\"file\":\"\xEF\xBF\xBD.hex\"}\n");
}

}  // namespace
}  // namespace quillmark::host
