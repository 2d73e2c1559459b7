// SPDX-License-Identifier: MIT
// What stands between a command line and an erased ECU.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class ConfirmationTest : public ToolTest {
 protected:
  ToolProcess Flash(const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments{"flash", folder_.Write("a.s19", kTwoSegments)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return {arguments, "", "", ToolProcess::Output::kWholeTerminal};
  }
};

TEST_F(ConfirmationTest, IsAskedForOnATerminal) {
  ToolProcess process = Flash();
  ASSERT_TRUE(process.ReadUntil("erase and write? [y/N] "));
  EXPECT_THAT(process.output(), HasSubstr("about to  erase memory 00 of SIMULATED ECU 001 REV A"));
  EXPECT_THAT(process.output(), Not(HasSubstr("unlock")));
  process.Write("y\n");
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_THAT(process.output(), HasSubstr("done"));
}

TEST_F(ConfirmationTest, IsRefusedByAnythingElse) {
  for (const char* answer : {"\n", "n\n", "yeah\n"}) {
    ToolProcess process = Flash();
    ASSERT_TRUE(process.ReadUntil("erase and write? [y/N] "));
    process.Write(answer);
    EXPECT_EQ(process.Wait(), 130);
    EXPECT_THAT(process.output(), HasSubstr("quillmark: identify: not confirmed"));
    EXPECT_THAT(process.output(),
                HasSubstr("as before, nothing was erased or written; no session"));
  }
}

TEST_F(ConfirmationTest, SaysWhatItIsAboutAlsoWhereTheOutputIsElsewhere) {
  ToolProcess process({"flash", folder_.Write("a.s19", kTwoSegments)}, "", folder_.Path("stdout"),
                      ToolProcess::Output::kQuestionOnTerminal);
  ASSERT_TRUE(process.ReadUntil("erase and write? [y/N] "));
  EXPECT_THAT(process.output(),
              StartsWith("about to  erase memory 00 of SIMULATED ECU 001 REV A\r\n"
                         "          and write 4 bytes into 001000 to 008001\r\n"
                         "erase and write? [y/N] "));
  process.Write("y\n");
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_THAT(folder_.Read("stdout"), AllOf(HasSubstr("about to  erase"), HasSubstr("done")));
}

TEST_F(ConfirmationTest, TakesNothingThatWasTypedBeforeItWasAsked) {
  // The tool waits for its image meanwhile.
  ASSERT_EQ(::mkfifo(folder_.Path("image").c_str(), 0600), 0);
  ToolProcess process({"flash", folder_.Path("image")}, "", "",
                      ToolProcess::Output::kWholeTerminal);
  process.Write("y\n");
  static_cast<void>(folder_.Write("image", kTwoSegments));
  ASSERT_TRUE(process.ReadUntil("erase and write? [y/N] "));
  process.Write("n\n");
  EXPECT_EQ(process.Wait(), 130);
}

class EndOfTheQuestion : public ConfirmationTest {
 protected:
  void ExpectEndsBy(const char* typed) {
    ToolProcess process = Flash();
    ASSERT_TRUE(process.ReadUntil("erase and write? [y/N] "));
    process.Write(typed);
    EXPECT_EQ(process.Wait(), 130);
    EXPECT_THAT(process.output(), HasSubstr("\nquillmark: identify: "));
  }
};

#ifndef __SANITIZE_THREAD__
// ThreadSanitizer puts off a signal that comes between two system calls, and here never delivers
// it.
TEST_F(EndOfTheQuestion, ByAnInterruptEndsItsLine) { ExpectEndsBy("\x03"); }
#endif

TEST_F(EndOfTheQuestion, ByTheEndOfInputEndsItsLine) { ExpectEndsBy("\x04"); }

TEST_F(ConfirmationTest, IsNotAskedForWithYes) {
  ToolProcess process = Flash({"--yes"});
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_THAT(process.output(), Not(HasSubstr("[y/N]")));
}

}  // namespace
}  // namespace quillmark::host::testing
