// SPDX-License-Identifier: MIT
// Each way in which a flash fails: message, exit status, and never a false success.
#include <gmock/gmock.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class FlashFailure : public ToolTest {
 protected:
  // Flashes two segments with these options. Nothing is repeated, so that each fault shows.
  ToolResult Flash(std::vector<std::string> options) {
    options.insert(options.begin(),
                   {"flash", folder_.Write("a.s19", kTwoSegments), "--repeat", "0"});
    return Run(options);
  }

  static void ExpectFailure(const ToolResult& result, int status, const std::string& message) {
    EXPECT_EQ(result.status, status);
    EXPECT_THAT(result.err, StartsWith("quillmark: " + message + "\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("done")));
  }
};

TEST_F(FlashFailure, OfADamagedImageGivesFileLineAndReason) {
  const std::string image = folder_.Write("a.hex", ":01000000AB54\n:01000100AB54\n:00000001FF\n");
  const ToolResult result = Run({"flash", image});
  ExpectFailure(result, 65, image + ":2: wrong checksum: expected 53, found 54");
  EXPECT_EQ(result.out, "");
}

TEST_F(FlashFailure, OfATruncatedImage) {
  const std::string image = folder_.Write("a.s19", "S10510000102E7\n");
  ExpectFailure(Run({"flash", image}), 65,
                image + ":1: missing end record: expected S7, S8 or S9 before the end of the file");
}

TEST_F(FlashFailure, OfAnImageWithoutData) {
  const std::string image = folder_.Write("a.hex", ":00000001FF\n");
  ExpectFailure(Run({"flash", image}), 65, image + ": expected an image with data, found none");
}

TEST_F(FlashFailure, OfAnImageBeyond24BitsIsFoundBeforeAnythingIsSent) {
  const std::string image = folder_.Write("a.s37", "S30700FFFFFF0102F8\nS70500000000FA\n");
  const ToolResult result = Run({"flash", image});
  ExpectFailure(result, 65,
                image +
                    ": segment 00FFFFFF to 01000000 lies beyond FFFFFF, the last address that "
                    "an ECU can be told");
  EXPECT_THAT(result.err, HasSubstr("next      give the image the addresses that the ECU knows"));
  EXPECT_EQ(result.out, "");
}

TEST_F(FlashFailure, OfAnElfFileSaysHowToMakeAnImageOfIt) {
  const std::string image = folder_.Write("a.elf", std::string_view("\x7F"
                                                                    "ELF\x02\x01\0",
                                                                    7));
  for (const std::vector<std::string>& base : {std::vector<std::string>{}, {"--base", "0"}}) {
    std::vector<std::string> arguments{"flash", image};
    arguments.insert(arguments.end(), base.begin(), base.end());
    const ToolResult result = Run(arguments);
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.err,
              "quillmark: " + image +
                  ": is an ELF file, expected Intel HEX, Motorola S-record or raw "
                  "binary; objcopy -O srec " +
                  image + " " + image +
                  ".srec makes an image of it\n"
                  "next      use the objcopy of the ECU's compiler; nothing was sent\n");
  }
}

TEST_F(FlashFailure, OfAnImageThatIsTooLargeToBeRead) {
  const std::string image = folder_.Write("a.bin", "");
  std::filesystem::resize_file(image, 0x10000001);
  ExpectFailure(Run({"flash", image, "--base", "0"}), 66,
                image + ": expected at most 256 MiB, found more");
}

TEST_F(FlashFailure, OfAnImageThatIsNotThere) {
  ExpectFailure(Run({"flash", folder_.Path("none.hex")}), 66,
                folder_.Path("none.hex") + ": No such file or directory");
}

TEST_F(FlashFailure, OfARawBinaryWithoutABase) {
  const std::string image = folder_.Write("a.bin", Pattern(10));
  ExpectFailure(Run({"flash", image}), 64,
                image +
                    ": neither Intel HEX nor Motorola S-record; a raw binary needs a base "
                    "address");
}

TEST_F(FlashFailure, OfAnSRecordWithABase) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  ExpectFailure(Run({"flash", image, "--base", "0"}), 64,
                image + ": a base address is for a raw binary, this file is Motorola S-record");
}

TEST_F(FlashFailure, OfASilentEcu) {
  ExpectFailure(Flash({"--fault", "silent"}), 69,
                "identify: the ECU does not answer (no frame within 1000 ms, expected 0250C0) "
                "(error 4000)");
}

TEST_F(FlashFailure, OfAnotherEcuThanExpectedIsFoundBeforeAnythingIsChanged) {
  for (const char* form : {"can", "gateway", "kline"}) {
    const ToolResult result = Flash({"--form", form, "--expect-ecu", "SIMULATED ECU 001"});
    ExpectFailure(result, 69,
                  "expected the ECU SIMULATED ECU 001, found SIMULATED ECU 001 REV A; nothing was "
                  "changed");
    EXPECT_THAT(result.err, HasSubstr("\nnext      look at which ECU is connected"));
    EXPECT_THAT(result.out, Not(HasSubstr("unlock")));
  }
}

TEST_F(FlashFailure, DoesNotComeFromTheExpectedEcu) {
  for (const char* ecu : {"SIMULATED ECU 001 REV A", "SIMULATED ECU 001 REV A ",
                          "hex:53494d554C41544544204543552030303120524556204120"}) {
    EXPECT_EQ(Flash({"--expect-ecu", ecu}).status, 0);
  }
}

TEST_F(FlashFailure, OfASilentEcuInTheOtherForms) {
  EXPECT_EQ(Flash({"--form", "gateway", "--fault", "silent"}).status, 69);
  const ToolResult k_line = Flash({"--form", "kline", "--fault", "silent"});
  EXPECT_EQ(k_line.status, 69);
  EXPECT_THAT(k_line.err, HasSubstr("the ECU does not answer"));
}

TEST_F(FlashFailure, OfARefusedKey) {
  ExpectFailure(Flash({"--fault", "refuse-key"}), 76,
                "unlock: Requested Service : 27 Negative response code : 35; negative response "
                "35, invalid key (error 2037)");
}

TEST_F(FlashFailure, OfARefusedErase) {
  ExpectFailure(Flash({"--fault", "negative@0x31:0x22"}), 76,
                "erase: Start erase error 7F3122; negative response 22, conditions not correct "
                "(error 4003)");
}

TEST_F(FlashFailure, OfABadChecksumNamesTheAddress) {
  ExpectFailure(Flash({"--fault", "bad-checksum@2"}), 76,
                "download at 0x008000: Download error 037F3477AAAAAAAA; negative response 77, "
                "block checksum error (error 4005)");
}

TEST_F(FlashFailure, OfABadCellIsFoundByTheCheckRoutine) {
  ExpectFailure(Flash({"--verify", "--fault", "bad-cell@0x1001"}), 76,
                "check: Start routine 2H error 710203; received 710203 (start routine by local "
                "identifier, positive: routine 02 failed (03)), expected 710202 (start routine by "
                "local identifier, positive: routine 02 finished) (error 4006)");
}

TEST_F(FlashFailure, OfAnEcuThatStaysPending) {
  ExpectFailure(Flash({"--fault", "pending@0x34:1000"}), 76,
                "download at 0x001000: the ECU stays busy (received 037F3478AAAAAAAA, expected "
                "027402) (error 4005)");
}

// The fill byte is not what the erased memory of the simulated ECU holds, so the bytes that were
// left out differ.
TEST_F(FlashFailure, OfAVerificationNamesTheFirstDifferences) {
  const std::string image = folder_.Write("a.bin", std::string(16, '\0') + Pattern(16));
  const ToolResult result =
      Run({"flash", image, "--base", "0x100", "--fill", "0", "--align", "16", "--verify"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("0x000100"));
  EXPECT_THAT(result.out, Not(HasSubstr("done")));
}

TEST_F(FlashFailure, OfAKeyCommandThatFails) {
  const ToolResult result = Flash({"--key-command", "exit 3;"});
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.err, HasSubstr("key command \"exit 3;\": failed with status 3"));
}

TEST_F(FlashFailure, OfAKeyCommandThatPrintsNoHex) {
  const ToolResult result = Flash({"--key-command", "echo secret"});
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.err, HasSubstr("key command \"echo secret\": expected the key as hexadecimal "
                                    "text, found \"secret 1A2B3C4D\""));
}

TEST_F(FlashFailure, OfAKeyOfTheWrongLength) {
  const ToolResult result = Flash({"--key-command", "echo 010203040506 #"});
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.err, HasSubstr("expected a key of 2 to 5 bytes, found 6"));
}

TEST_F(FlashFailure, IsAnEventForMachines) {
  const ToolResult result = Flash({"--json", "--fault", "bad-checksum@2"});
  EXPECT_EQ(result.status, 76);
  const std::string last = result.out.substr(result.out.rfind('\n', result.out.size() - 2) + 1);
  const auto event = nlohmann::json::parse(last);
  EXPECT_EQ(event.at("event"), "error");
  EXPECT_EQ(event.at("exit"), 76);
  EXPECT_EQ(event.at("phase"), "download");
  EXPECT_EQ(event.at("cause"), "unexpected-reply");
  EXPECT_EQ(event.at("number"), 4005);
  EXPECT_EQ(event.at("address"), 0x8000);
  EXPECT_EQ(event.at("response_code"), 0x77);
}

}  // namespace
}  // namespace quillmark::host::testing
