// SPDX-License-Identifier: MIT
// The memory of the simulated ECU holds 5A before its first erase.
#include <gmock/gmock.h>

#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

using ReadCommand = ToolTest;

TEST_F(ReadCommand, WritesIntelHex) {
  const ToolResult result =
      Run({"read", "--range", "0x8000:4", "--range", "0x8010:1", "-o", folder_.Path("a.hex")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out,
              EndsWith("read      5 bytes to " + folder_.Path("a.hex") + " as Intel HEX\n"));
  EXPECT_EQ(folder_.Read("a.hex"),
            ":048000005A5A5A5A14\n"
            ":018010005A15\n"
            ":00000001FF\n");
}

TEST_F(ReadCommand, WritesSRecords) {
  EXPECT_EQ(Run({"read", "--range", "0x8000:2", "-o", folder_.Path("a.s19")}).status, 0);
  EXPECT_EQ(folder_.Read("a.s19"),
            "S0030000FC\n"
            "S10580005A5AC6\n"
            "S5030001FB\n"
            "S9030000FC\n");
}

TEST_F(ReadCommand, FillsTheGapsOfARawBinaryAndSaysSo) {
  const ToolResult result = Run(
      {"read", "--range", "0:2", "--range", "4:1", "--fill", "0x2E", "-o", folder_.Path("a.bin")});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("          2 bytes between the ranges filled with 2E\n"));
  EXPECT_EQ(folder_.Read("a.bin"), "ZZ..Z");
}

TEST_F(ReadCommand, JoinsAdjacentReplies) {
  EXPECT_EQ(
      Run({"read", "--range", "0:100", "--form", "kline", "-o", folder_.Path("a.bin")}).status, 0);
  EXPECT_EQ(folder_.Read("a.bin"), std::string(100, 'Z'));
}

TEST_F(ReadCommand, ReadsBehindAGateway) {
  EXPECT_EQ(
      Run({"read", "--range", "0:100", "--form", "gateway", "-o", folder_.Path("a.bin")}).status,
      0);
  EXPECT_EQ(folder_.Read("a.bin"), std::string(100, 'Z'));
}

TEST_F(ReadCommand, ReadsTheLastAddress) {
  EXPECT_EQ(Run({"read", "--range", "0xFFFFFF:1", "-o", folder_.Path("a.bin")}).status, 0);
  EXPECT_EQ(folder_.Read("a.bin"), "Z");
}

TEST_F(ReadCommand, RefusesARangeBeyond24Bits) {
  const ToolResult result = Run({"read", "--range", "0xFFFFFF:2", "-o", folder_.Path("a.bin")});
  EXPECT_EQ(result.status, 64);
  EXPECT_THAT(result.err, HasSubstr("--range: expected a number from 1 to 1, found \"2\""));
}

TEST_F(ReadCommand, RefusesARangeThatIsNone) {
  EXPECT_THAT(Run({"read", "--range", "100", "-o", folder_.Path("a.bin")}).err,
              HasSubstr("--range: expected START:COUNT, found \"100\""));
  EXPECT_EQ(Run({"read", "--range", "0:0", "-o", folder_.Path("a.bin")}).status, 64);
}

TEST_F(ReadCommand, RefusesRangesThatOverlap) {
  const ToolResult result =
      Run({"read", "--range", "9:10", "--range", "0:10", "-o", folder_.Path("a.bin")});
  EXPECT_EQ(result.status, 64);
  EXPECT_THAT(result.err, HasSubstr("--range: address 0x000009 is there twice"));
}

TEST_F(ReadCommand, ReportsAnUnwritableOutputBeforeItReads) {
  const ToolResult result = Run({"read", "--range", "0:10", "-o", folder_.Path("no/such.hex")});
  EXPECT_EQ(result.status, 73);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "quillmark: " + folder_.Path("no/such.hex") +
                ": cannot create: No such file or directory\n"
                "next      name a file in a folder that exists and that you may write to\n");
}

TEST_F(ReadCommand, ReportsAFullDevice) {
  const ToolResult result = Run({"read", "--range", "0:10", "-o", "/dev/full"});
  EXPECT_EQ(result.status, 74);
  EXPECT_EQ(result.err,
            "quillmark: /dev/full: cannot write: No space left on device\n"
            "next      make room on the disk, or name a file elsewhere\n");
}

TEST_F(ReadCommand, LeavesTheOldFileWhereItFails) {
  const std::string output = folder_.Write("a.bin", "old");
  EXPECT_EQ(Run({"read", "--range", "0:10", "-o", output, "--force", "--fault", "silent"}).status,
            69);
  EXPECT_EQ(folder_.Read("a.bin"), "old");
}

}  // namespace
}  // namespace quillmark::host::testing
