// SPDX-License-Identifier: MIT
#include "host/tool/key_command.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/tool/exit_code.h"
#include "tests/host/tool/process_end.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
constexpr auto kPatience = 30s;

class KeyCommand : public ::testing::Test {
 protected:
  /// Asks as often as it takes.
  Bytes KeyOf(const std::string& command, std::chrono::milliseconds limit = kPatience) {
    const KeyFunction key =
        MakeKeyCommand(command, limit, [this](const std::string& line) { shown_.push_back(line); });
    for (;;) {
      if (const auto result = key(Bytes{0x1A, 0x2B, 0x3C, 0x4D})) {
        return *result;
      }
      ++times_not_ready_;
    }
  }

  std::string ErrorOfCommand(const std::string& command,
                             std::chrono::milliseconds limit = kPatience) {
    try {
      static_cast<void>(KeyOf(command, limit));
    } catch (const ToolError& error) {
      EXPECT_EQ(error.code(), ExitCode::kUnavailable);
      return error.what();
    }
    return "(nothing raised)";
  }

  int times_not_ready_ = 0;
  std::vector<std::string> shown_;
};

TEST_F(KeyCommand, GetsTheSeedAsItsLastArgument) {
  EXPECT_EQ(KeyOf("echo"), (Bytes{0x1A, 0x2B, 0x3C, 0x4D}));
  EXPECT_EQ(KeyOf("printf '%.4s'"), (Bytes{0x1A, 0x2B}));
}

TEST_F(KeyCommand, MayPrintLowerCaseAndBlanksAround) {
  EXPECT_EQ(KeyOf("printf ' \\tabCD\\r\\n' #"), (Bytes{0xAB, 0xCD}));
}

TEST_F(KeyCommand, MayGiveAKeyOfTwoToFiveBytes) {
  EXPECT_EQ(KeyOf("echo 0102 #"), (Bytes{1, 2}));
  EXPECT_EQ(KeyOf("echo 0102030405 #"), (Bytes{1, 2, 3, 4, 5}));
}

TEST_F(KeyCommand, OfAnotherLengthIsRefused) {
  EXPECT_EQ(ErrorOfCommand("echo 01 #"),
            "key command \"echo 01 #\": expected a key of 2 to 5 bytes, found 1");
  EXPECT_EQ(ErrorOfCommand("echo 010203040506 #"),
            "key command \"echo 010203040506 #\": expected a key of 2 to 5 bytes, found 6");
}

TEST_F(KeyCommand, ThatPrintsNoHexIsRefused) {
  EXPECT_EQ(ErrorOfCommand("echo no key for"),
            "key command \"echo no key for\": expected the key as hexadecimal text, "
            "found \"no key for 1A2B3C4D\"");
  EXPECT_EQ(ErrorOfCommand("true"),
            "key command \"true\": expected the key as hexadecimal text, found \"\"");
  EXPECT_EQ(ErrorOfCommand("echo 123 #"),
            "key command \"echo 123 #\": expected the key as hexadecimal text, found \"123\"");
}

TEST_F(KeyCommand, ThatFailsIsRefusedWhateverItPrints) {
  EXPECT_EQ(ErrorOfCommand("echo 01020304; exit 3 #"),
            "key command \"echo 01020304; exit 3 #\": failed with status 3");
  EXPECT_EQ(ErrorOfCommand("/no/such/program 2>/dev/null"),
            "key command \"/no/such/program 2>/dev/null\": failed with status 127");
}

TEST_F(KeyCommand, ThatIsKilledIsRefused) {
  EXPECT_EQ(ErrorOfCommand("kill -9 $$ #"), "key command \"kill -9 $$ #\": was ended by a signal");
}

TEST_F(KeyCommand, ThatTakesItsTimeIsWaitedForPieceByPiece) {
  EXPECT_EQ(KeyOf("sleep 1; echo 0102 #"), (Bytes{1, 2}));
  EXPECT_GE(times_not_ready_, 1);
}

TEST_F(KeyCommand, ThatDoesNotEndIsGivenUp) {
  EXPECT_EQ(ErrorOfCommand("sleep 600 #", 300ms),
            "key command \"sleep 600 #\": did not end within 300 ms");
}

TEST_F(KeyCommand, HasAnEmptyInputAndNoTerminal) {
  EXPECT_EQ(KeyOf("cat; echo 0102 #"), (Bytes{1, 2}));
  EXPECT_EQ(KeyOf("cat /dev/tty 2>/dev/null; echo 0102 #"), (Bytes{1, 2}));
}

TEST_F(KeyCommand, InheritsNoDescriptor) {
  const int inherited = ::open("/dev/null", O_RDONLY);
  ASSERT_GE(inherited, 3);
  EXPECT_EQ(KeyOf("test -e /proc/self/fd/" + std::to_string(inherited) + " && exit 3; echo 0102 #"),
            (Bytes{1, 2}));
  ::close(inherited);
}

TEST_F(KeyCommand, IsEndedByABrokenPipe) {
  EXPECT_EQ(::signal(SIGPIPE, SIG_IGN), SIG_DFL);
  EXPECT_EQ(KeyOf("yes | head -n 1 >/dev/null; echo 0102 #"), (Bytes{1, 2}));
  ::signal(SIGPIPE, SIG_DFL);
}

TEST_F(KeyCommand, TellsWhatItWritesToItsStandardErrorLineByLine) {
  EXPECT_EQ(KeyOf("printf 'touch the\\ntoken' >&2; echo 0102 #"), (Bytes{1, 2}));
  EXPECT_THAT(shown_, ::testing::ElementsAre("touch the", "token"));
}

TEST_F(KeyCommand, IsShownWithoutAnEmptyLineAtItsEnd) {
  KeyOf("echo touch the token >&2; echo 0102 #");
  EXPECT_THAT(shown_, ::testing::ElementsAre("touch the token"));
}

TEST_F(KeyCommand, ThatWritesWithoutEndIsHeardToALimit) {
  EXPECT_EQ(ErrorOfCommand("yes 0 | head -c 100M; yes | head -c 100M >&2 #"),
            "key command \"yes 0 | head -c 100M; yes | head -c 100M >&2 #\": expected the key as "
            "hexadecimal text, found \"0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n"
            "0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n\"");
  EXPECT_EQ(shown_.size(), 65536U / 2);
}

/// A command that leaves a process behind, which gives its number and then works on.
class Descendant : public KeyCommand {
 protected:
  [[nodiscard]] std::string Command(const std::string& rest) const {
    return "sleep 600 & echo $! >" + file_.string() + "; " + rest;
  }

  void ExpectEnd() const {
    pid_t process = 0;
    ASSERT_TRUE(std::ifstream(file_) >> process);
    testing::ExpectEndOfProcess(process);
  }

  std::filesystem::path file_ = std::filesystem::path(::testing::TempDir()) /
                                ("quillmark_descendant_" + std::to_string(::getpid()));
};

TEST_F(Descendant, OfAKeyCommandEndsWithIt) {
  EXPECT_EQ(KeyOf(Command("echo 0102 #")), (Bytes{1, 2}));
  ExpectEnd();
}

TEST_F(Descendant, OfAKeyCommandThatIsGivenUpEndsWithIt) {
  EXPECT_THAT(ErrorOfCommand(Command("trap '' TERM; wait #"), 2s),
              ::testing::HasSubstr("did not end within 2000 ms"));
  ExpectEnd();
}

}  // namespace
}  // namespace quillmark::host
