// SPDX-License-Identifier: MIT
// Ctrl-C in the middle of the work.
#include <gmock/gmock.h>

#include <csignal>

#include "tool/images.h"
#include "tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class Interrupt : public ToolTest, public ::testing::WithParamInterface<int> {
 protected:
  // Enough for the work to last until the signal comes.
  std::string LargeImage() { return folder_.Write("a.bin", Pattern(8'000'000)); }
};

TEST_P(Interrupt, ClosesTheSessionAndSaysSo) {
  ToolProcess process({"flash", LargeImage(), "--base", "0", "--json"}, "/dev/null",
                      folder_.Path("stderr"));
  ASSERT_TRUE(process.ReadUntil("\"phase\":\"download\""));
  process.Signal(GetParam());
  EXPECT_EQ(process.Wait(), 130);
  EXPECT_THAT(folder_.Read("stderr"), HasSubstr("quillmark: download"));
  EXPECT_THAT(process.output(), HasSubstr("\"cause\":\"cancelled\""));
  EXPECT_THAT(process.output(), Not(HasSubstr("\"event\":\"done\"")));
}

INSTANTIATE_TEST_SUITE_P(Signals, Interrupt, ::testing::Values(SIGINT, SIGTERM),
                         [](const auto& test) { return test.param == SIGINT ? "INT" : "TERM"; });

TEST_F(Interrupt, OfAReadLeavesNoFile) {
  ToolProcess process({"read", "--range", "0:8000000", "-o", folder_.Path("out.hex")}, "/dev/null",
                      folder_.Path("stderr"));
  ASSERT_TRUE(process.ReadUntil("upload"));
  process.Signal(SIGINT);
  EXPECT_EQ(process.Wait(), 130);
  EXPECT_EQ(folder_.Entries(), 1);  // stderr
}

}  // namespace
}  // namespace quillmark::host::testing
