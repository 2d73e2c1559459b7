// SPDX-License-Identifier: MIT
// --trace of flash and read.
#include <gmock/gmock.h>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class TraceOption : public ToolTest {
 protected:
  ToolResult Flash(const std::string& trace, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(),
                     {"flash", folder_.Write("a.s19", kTwoSegments), "--trace", trace});
    return Run(arguments);
  }
};

TEST_F(TraceOption, WritesACandumpLog) {
  EXPECT_EQ(Flash(folder_.Path("t.log")).status, 0);
  const std::string log = folder_.Read("t.log");
  EXPECT_THAT(log, ContainsRegex("^\\([0-9]{10}\\.[0-9]{6}\\) can0 632#0210C00000000000\n"
                                 "\\([0-9]{10}\\.[0-9]{6}\\) can0 73A#0250C0"));
  EXPECT_THAT(log, HasSubstr(" can0 632#100A340000100002\n"));
}

TEST_F(TraceOption, WritesAnAscFile) {
  EXPECT_EQ(Flash(folder_.Path("t.asc")).status, 0);
  EXPECT_THAT(
      folder_.Read("t.asc"),
      AllOf(StartsWith("date "),
            HasSubstr("\n   0.000270 1  632             Tx   d 8 02 10 C0 00 00 00 00 00\n"
                      "   0.002540 1  73A             Rx   d 8 02 50 C0 AA AA AA AA AA\n")));
}

TEST_F(TraceOption, WritesReadableLinesOfAKLine) {
  EXPECT_EQ(Flash(folder_.Path("t.log"), {"--form", "kline"}).status, 0);
  EXPECT_THAT(folder_.Read("t.log"), HasSubstr("bytes\n"
                                               "   0.000000 break 25 ms\n"
                                               "   0.054808 > 81 11 F1 81 04\n"
                                               "   0.086539 < 83 F1 11 C1 6B 8F 40\n"));
}

TEST_F(TraceOption, KeepsWhatWasSeenOfAFailedFlash) {
  EXPECT_EQ(Flash(folder_.Path("t.log"), {"--fault", "refuse-key"}).status, 76);
  EXPECT_THAT(folder_.Read("t.log"), HasSubstr(" can0 73A#037F2735"));
}

TEST_F(TraceOption, RecordsWhatReadDoes) {
  EXPECT_EQ(Run({"read", "--range", "0x1000:4", "-o", folder_.Path("m.bin"), "--trace",
                 folder_.Path("t.log")})
                .status,
            0);
  EXPECT_THAT(folder_.Read("t.log"), HasSubstr(" can0 632#0635800010000400\n"));
}

TEST_F(TraceOption, RefusesNamesThatStandForNoFormat) {
  const ToolResult can = Flash(folder_.Path("t.txt"));
  EXPECT_EQ(can.status, 64);
  EXPECT_THAT(can.err, HasSubstr("--trace: expected a file .log (candump) or .asc (Vector ASC)"));
  const ToolResult k_line = Flash(folder_.Path("t.asc"), {"--form", "kline"});
  EXPECT_EQ(k_line.status, 64);
  EXPECT_THAT(k_line.err, HasSubstr("--trace: expected a file .log or .txt for a K line"));
}

TEST_F(TraceOption, SaysThatAFileCannotBeCreatedBeforeAnythingIsSent) {
  const ToolResult result = Flash(folder_.Path("missing/t.log"));
  EXPECT_EQ(result.status, 73);
  EXPECT_THAT(result.err, HasSubstr("t.log: cannot create: No such file or directory"));
  EXPECT_THAT(result.out, ::testing::Not(HasSubstr("identify")));
}

TEST_F(TraceOption, SaysThatATraceIsIncomplete) {
  std::filesystem::create_symlink("/dev/full", folder_.Path("device.log"));
  const ToolResult full = Flash(folder_.Path("device.log"));
  EXPECT_EQ(full.status, 74);
  EXPECT_THAT(full.out, HasSubstr("done      in"));
  EXPECT_THAT(full.err, HasSubstr("device.log: cannot write: No space left on device; the flash "
                                  "itself succeeded\n"));
}

}  // namespace
}  // namespace quillmark::host::testing
