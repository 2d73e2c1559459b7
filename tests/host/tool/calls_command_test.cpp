// SPDX-License-Identifier: MIT
// quillmark calls: what it prints, byte for byte.
#include <sys/stat.h>

#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using CallsCommand = ToolTest;

constexpr const char* kCalls =
    "{\"call\":\"CANIDs\",\"args\":[1850,1586]}\n"
    "{\"call\":\"readseed\",\"args\":[]}\n";

constexpr const char* kAnswers =
    "{\"call\":\"CANIDs\",\"result\":null}\n"
    "{\"call\":\"readseed\",\"result\":\"<?xml version='1.0'?><can>\\r\\n"
    "<x i=\\\"1850\\\">\\r\\n<i>1586</i>\\r\\n"
    "<s><d>0227810000000000</d></s>\\r\\n<r><c>066781</c></r>\\r\\n"
    "</x>\\r\\n</can>\"}\n";

TEST_F(CallsCommand, AnswersStandardInput) {
  const ToolResult result = Run({"calls"}, kCalls);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kAnswers);
  EXPECT_EQ(result.err, "");
}

TEST_F(CallsCommand, AnswersAFile) {
  const ToolResult result = Run({"calls", folder_.Write("calls.jsonl", kCalls)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kAnswers);
}

TEST_F(CallsCommand, TakesADashForStandardInput) {
  EXPECT_EQ(Run({"calls", "-"}, kCalls).out, kAnswers);
}

TEST_F(CallsCommand, SucceedsAlsoWhereACallFails) {
  const ToolResult result = Run({"calls"}, "{\"call\":\"starterase\",\"args\":[300]}\nx\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(
      result.out,
      "{\"call\":\"starterase\",\"error\":{\"number\":6,\"description\":"
      "\"starterase: argument 1, RL: expected a Byte, 0 to 255, found 300\"}}\n"
      "{\"call\":null,\"error\":{\"number\":13,\"description\":"
      "\"expected a JSON object such as {\\\"call\\\":\\\"CANIDs\\\",\\\"args\\\":[1850,1586]}, "
      "found a syntax error at byte 1\"}}\n");
}

TEST_F(CallsCommand, AnswersEachLineAtOnce) {
  ASSERT_EQ(::mkfifo(folder_.Path("calls").c_str(), 0600), 0);
  ToolProcess process({"calls", folder_.Path("calls")}, "/dev/null", folder_.Path("stderr"));
  std::ofstream calls(folder_.Path("calls"));
  calls << "{\"call\":\"new\"}\n" << std::flush;
  EXPECT_TRUE(process.ReadUntil("{\"call\":\"new\",\"result\":null}\n"));
  calls.close();
  EXPECT_EQ(process.Wait(), 0);
}

TEST_F(CallsCommand, ReportsAFileThatIsNotThere) {
  const ToolResult result = Run({"calls", folder_.Path("none")});
  EXPECT_EQ(result.status, 66);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "quillmark: " + folder_.Path("none") +
                            ": No such file or directory\n"
                            "next      look at the path, and whether you may read what is there\n");
}

TEST_F(CallsCommand, ReportsOutputThatNobodyReads) {
  ASSERT_EQ(::mkfifo(folder_.Path("fifo").c_str(), 0600), 0);
  ToolProcess process({"calls", folder_.Path("fifo")}, "/dev/null", folder_.Path("stderr"));
  process.CloseOutput();
  std::ofstream(folder_.Path("fifo")) << kCalls;
  EXPECT_EQ(process.Wait(), 74);
  EXPECT_EQ(folder_.Read("stderr"), "quillmark: cannot write to standard output\n");
}

}  // namespace
}  // namespace quillmark::host::testing
