// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::StartsWith;

using IdentifyCommand = ToolTest;

constexpr const char* kTable =
    "identification  SIMULATED ECU 001 REV A\n"
    "entry  history    reprogramming\n"
    "    0  HISTORY 0  REPROGRAMMING 0\n"
    "    1  HISTORY 1  REPROGRAMMING 1\n"
    "    2  HISTORY 2  REPROGRAMMING 2\n"
    "    3  HISTORY 3  REPROGRAMMING 3\n"
    "    4  HISTORY 4  REPROGRAMMING 4\n"
    "    5  HISTORY 5  REPROGRAMMING 5\n"
    "    6  HISTORY 6  REPROGRAMMING 6\n"
    "    7  HISTORY 7  REPROGRAMMING 7\n";

TEST_F(IdentifyCommand, PrintsATable) {
  const ToolResult result = Run({"identify"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kTable);
  EXPECT_EQ(result.err, "");
}

TEST_F(IdentifyCommand, PrintsTheSameBehindAGateway) {
  EXPECT_EQ(Run({"identify", "--form", "gateway"}).out, kTable);
}

TEST_F(IdentifyCommand, PrintsTheFirstRecordOnAKLine) {
  EXPECT_EQ(Run({"identify", "--form", "kline"}).out,
            "identification  SIMULATED ECU 001 REV A\n"
            "entry  history    reprogramming\n"
            "    0  HISTORY 0  -\n"
            "on a K line no more of the history can be read\n");
}

TEST_F(IdentifyCommand, PrintsALineOfJson) {
  EXPECT_THAT(Run({"identify", "--json", "--form", "kline"}).out,
              StartsWith(R"({"event":"identification",)"
                         R"("record":"53494D554C41544544204543552030303120524556204120",)"
                         R"("entries":[{"history":"484953544F525920302020)"));
}

TEST_F(IdentifyCommand, ReportsASilentEcu) {
  const ToolResult result = Run({"identify", "--fault", "silent"});
  EXPECT_EQ(result.status, 69);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, StartsWith("quillmark: identify: the ECU does not answer"));
}

TEST_F(IdentifyCommand, ReportsASilentEcuOnAKLineToo) {
  const ToolResult result = Run({"identify", "--form", "kline", "--fault", "silent"});
  EXPECT_EQ(result.status, 69);
  EXPECT_EQ(result.out, "");
}

}  // namespace
}  // namespace quillmark::host::testing
