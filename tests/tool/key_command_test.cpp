// SPDX-License-Identifier: MIT
#include "host/tool/key_command.h"

#include <gtest/gtest.h>

#include "host/tool/exit_code.h"

namespace quillmark::host {
namespace {

Bytes KeyOf(const std::string& command) {
  return MakeKeyCommand(command)(Bytes{0x1A, 0x2B, 0x3C, 0x4D}).value();
}

std::string ErrorOfCommand(const std::string& command) {
  try {
    static_cast<void>(KeyOf(command));
  } catch (const ToolError& error) {
    EXPECT_EQ(error.code(), ExitCode::kUnavailable);
    return error.what();
  }
  return "(nothing raised)";
}

TEST(KeyCommand, GetsTheSeedAsItsLastArgument) {
  EXPECT_EQ(KeyOf("echo"), (Bytes{0x1A, 0x2B, 0x3C, 0x4D}));
  EXPECT_EQ(KeyOf("printf '%.4s'"), (Bytes{0x1A, 0x2B}));
}

TEST(KeyCommand, MayPrintLowerCaseAndBlanksAround) {
  EXPECT_EQ(KeyOf("printf ' \\tabCD\\r\\n' #"), (Bytes{0xAB, 0xCD}));
}

TEST(KeyCommand, MayGiveAKeyOfTwoToFiveBytes) {
  EXPECT_EQ(KeyOf("echo 0102 #"), (Bytes{1, 2}));
  EXPECT_EQ(KeyOf("echo 0102030405 #"), (Bytes{1, 2, 3, 4, 5}));
}

TEST(KeyCommand, OfAnotherLengthIsRefused) {
  EXPECT_EQ(ErrorOfCommand("echo 01 #"),
            "key command \"echo 01 #\": expected a key of 2 to 5 bytes, found 1");
  EXPECT_EQ(ErrorOfCommand("echo 010203040506 #"),
            "key command \"echo 010203040506 #\": expected a key of 2 to 5 bytes, found 6");
}

TEST(KeyCommand, ThatPrintsNoHexIsRefused) {
  EXPECT_EQ(ErrorOfCommand("echo no key for"),
            "key command \"echo no key for\": expected the key as hexadecimal text, "
            "found \"no key for 1A2B3C4D\"");
  EXPECT_EQ(ErrorOfCommand("true"),
            "key command \"true\": expected the key as hexadecimal text, found \"\"");
  EXPECT_EQ(ErrorOfCommand("echo 123 #"),
            "key command \"echo 123 #\": expected the key as hexadecimal text, found \"123\"");
}

TEST(KeyCommand, ThatFailsIsRefusedWhateverItPrints) {
  EXPECT_EQ(ErrorOfCommand("echo 01020304; exit 3 #"),
            "key command \"echo 01020304; exit 3 #\": failed with status 3");
  EXPECT_EQ(ErrorOfCommand("/no/such/program 2>/dev/null"),
            "key command \"/no/such/program 2>/dev/null\": failed with status 127");
}

TEST(KeyCommand, ThatIsKilledIsRefused) {
  EXPECT_EQ(ErrorOfCommand("kill -9 $$ #"), "key command \"kill -9 $$ #\": was ended by a signal");
}

}  // namespace
}  // namespace quillmark::host
