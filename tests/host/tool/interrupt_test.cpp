// SPDX-License-Identifier: MIT
// Signals in the middle of the work.
#include <gmock/gmock.h>

#include <csignal>

#include "tests/host/tool/images.h"
#include "tests/host/tool/process_end.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int kKilled = 1000;

struct SignalName {
  int signal;
  const char* name;
};

class Interrupt : public ToolTest, public ::testing::WithParamInterface<SignalName> {
 protected:
  /// A flash whose key command says "started" and runs on until it is ended, so that a signal meets
  /// it at work.
  std::vector<std::string> FlashThatUnlocks(const std::string& key_command = "exec sleep 600") {
    return {"flash",
            folder_.Write("a.s19", kTwoSegments),
            "--yes",
            "--artifacts",
            folder_.Path("run"),
            "--key-command",
            "sleep 600 & echo $! >" + folder_.Path("pid") + "; echo started >&2; " + key_command +
                " #"};
  }

  ToolProcess Start(const std::vector<std::string>& arguments) {
    return {arguments, "/dev/null", folder_.Path("stderr")};
  }

  void ExpectCancelledResult() {
    EXPECT_THAT(folder_.Read("run/result.json"), AllOf(HasSubstr("\"outcome\": \"cancelled\""),
                                                       HasSubstr("; no session is open\"")));
  }
};

TEST_P(Interrupt, ClosesTheSessionAndSaysSo) {
  // Enough for the work to last until the signal comes.
  const std::string image = folder_.Write("a.bin", Pattern(8'000'000));
  ToolProcess process = Start({"flash", image, "--base", "0", "--json"});
  ASSERT_TRUE(process.ReadUntil("\"phase\":\"download\""));
  process.Signal(GetParam().signal);
  EXPECT_EQ(process.Wait(), 130);
  EXPECT_THAT(folder_.Read("stderr"),
              AllOf(HasSubstr("quillmark: download"), HasSubstr("; no session is open\n")));
  EXPECT_THAT(process.output(), HasSubstr("\"cause\":\"cancelled\""));
  EXPECT_THAT(process.output(), Not(HasSubstr("\"event\":\"done\"")));
}

TEST_P(Interrupt, WhileTheKeyIsComputedEndsTheKeyCommandAndWhatItStarted) {
  ToolProcess process = Start(FlashThatUnlocks());
  ASSERT_TRUE(process.ReadUntil("key       started"));
  process.Signal(GetParam().signal);
  EXPECT_EQ(process.Wait(), 130);
  EXPECT_THAT(folder_.Read("stderr"),
              AllOf(HasSubstr("quillmark: unlock: cancelled\n"),
                    HasSubstr("nothing was erased or written; no session is open\n")));
  ExpectCancelledResult();
  ExpectEndOfProcess(std::stoi(folder_.Read("pid")));
}

INSTANTIATE_TEST_SUITE_P(Signals, Interrupt,
                         ::testing::Values(SignalName{SIGINT, "INT"}, SignalName{SIGTERM, "TERM"},
                                           SignalName{SIGHUP, "HUP"}),
                         [](const auto& test) { return test.param.name; });

TEST_F(Interrupt, ThatComesTwiceStillClosesTheSession) {
  ToolProcess process = Start(FlashThatUnlocks());
  ASSERT_TRUE(process.ReadUntil("key       started"));
  process.Signal(SIGINT);
  process.Signal(SIGTERM);
  EXPECT_EQ(process.Wait(), 130);
  EXPECT_THAT(folder_.Read("stderr"), HasSubstr("; no session is open\n"));
  ExpectCancelledResult();
}

TEST_F(Interrupt, ThatComesForTheThirdTimeEndsAtOnceAndSaysWhatItLeaves) {
  ToolProcess process = Start(FlashThatUnlocks("trap '' TERM; wait"));
  ASSERT_TRUE(process.ReadUntil("key       started"));
  InterruptThreeTimes(process);
  EXPECT_EQ(process.Wait(), kKilled + SIGTERM);
  EXPECT_THAT(folder_.Read("stderr"),
              HasSubstr("\nquillmark: ended at once; nothing was erased or written; the session "
                        "stays open until it ends by itself\n"));
  ExpectEndOfProcess(std::stoi(folder_.Read("pid")));
}

TEST_F(Interrupt, ByATerminalThatIsClosedClosesTheSession) {
  ToolProcess process(FlashThatUnlocks(), "", "", ToolProcess::Output::kWholeTerminal);
  ASSERT_TRUE(process.ReadUntil("key       started"));
  process.CloseOutput();
  EXPECT_EQ(process.Wait(), 130);
  ExpectCancelledResult();
}

TEST_F(Interrupt, ByAHangupThatWasIgnoredStaysIgnored) {
  std::signal(SIGHUP, SIG_IGN);
  ToolProcess process = Start(
      FlashThatUnlocks("until test -e " + folder_.Path("go") + "; do sleep 0.1; done; exit 7"));
  std::signal(SIGHUP, SIG_DFL);
  ASSERT_TRUE(process.ReadUntil("key       started"));
  process.Signal(SIGHUP);
  static_cast<void>(folder_.Write("go", ""));
  EXPECT_EQ(process.Wait(), 69);
  EXPECT_THAT(folder_.Read("stderr"), HasSubstr("failed with status 7"));
}

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
