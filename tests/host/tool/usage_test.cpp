// SPDX-License-Identifier: MIT
// Wrong command lines.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Usage : public ToolTest {
 protected:
  void ExpectUsageError(const std::vector<std::string>& arguments, const std::string& message) {
    const ToolResult result = Run(arguments);
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.out, "");
    const std::string command = arguments.empty() ? "" : " " + arguments.front();
    EXPECT_EQ(result.err, "quillmark: " + message + "\nnext      quillmark" + command +
                              " --help lists what there is\n");
  }

  // A flash of a good image with these options.
  void ExpectOptionError(std::vector<std::string> options, const std::string& message) {
    options.insert(options.begin(), {"flash", folder_.Write("a.s19", kTwoSegments)});
    ExpectUsageError(options, message);
  }
};

TEST_F(Usage, HelpListsCommandsAndExitStatuses) {
  const ToolResult result = Run({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  for (const char* text : {"flash", "read", "identify", "plan", "calls", "   65  an image file"}) {
    EXPECT_THAT(result.out, HasSubstr(text));
  }
}

TEST_F(Usage, HelpOfACommandListsItsOptions) {
  const ToolResult result = Run({"flash", "--help"});
  EXPECT_EQ(result.status, 0);
  for (const char* text : {"--form", "--ids", "--address", "--rl", "--routine", "--log-record",
                           "--fill", "--align", "--block", "--flow-control", "--bitrate",
                           "--key-command", "--base", "--verify", "--json", "--bus", "--fault"}) {
    EXPECT_THAT(result.out, HasSubstr(text));
  }
}

// As of a variable of a script that is not set: a backup would silently not be made.
TEST_F(Usage, AValueThatIsEmpty) {
  ExpectOptionError({"--backup", ""}, "--backup: expected a value, found nothing");
  ExpectOptionError({"--artifacts="}, "--artifacts: expected DIR, found nothing");
  ExpectUsageError({"read", "--range", "0:16", "-o", ""},
                   "--output: expected a value, found nothing");
  ExpectUsageError({"plan", ""}, "IMAGE: expected a value, found nothing");
}

TEST_F(Usage, Version) {
  const ToolResult result = Run({"--version"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, StartsWith("quillmark "));
}

TEST_F(Usage, WithoutACommand) {
  ExpectUsageError(
      {},
      "expected a command, one of flash, verify, read, identify, profile, plan, calls, "
      "decode, report, devices, history, simulate, conformance, station; found none");
}

TEST_F(Usage, UnknownCommand) {
  const ToolResult result = Run({"flsh", "a.s19"});
  EXPECT_EQ(result.status, 64);
  EXPECT_THAT(result.err,
              HasSubstr("conformance, station; found \"flsh\"\nnext      quillmark --help lists"));
}

TEST_F(Usage, WithoutAnImage) {
  ExpectUsageError({"flash"},
                   "flash: IMAGE is missing: Intel HEX, Motorola S-record or raw binary; several "
                   "make one image, and must agree where they overlap");
}

TEST_F(Usage, WithoutARequiredOption) {
  ExpectUsageError({"read", "-o", "a.hex"},
                   "read: --range is missing: what to read; may be given "
                   "several times");
}

TEST_F(Usage, UnknownOption) {
  ExpectOptionError({"--colour"}, "flash: there is no option \"--colour\"");
  ExpectUsageError({"flash", "--colour"}, "flash: there is no option \"--colour\"");
}

TEST_F(Usage, ArgumentTooMany) {
  ExpectUsageError({"identify", "b.s19"},
                   "identify: expected no further argument, found \"b.s19\"");
}

TEST_F(Usage, OptionsMayComeBeforeTheImage) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  for (const std::vector<std::string>& option :
       std::vector<std::vector<std::string>>{{"--flow-control", "1", "0"},
                                             {"--flow-control", "auto"},
                                             {"--flow-control=auto"},
                                             {"--ids", "1", "2"},
                                             {"--fault", "lose-frame@9"}}) {
    std::vector<std::string> arguments{"flash", "--yes"};
    arguments.insert(arguments.end(), option.begin(), option.end());
    arguments.push_back(image);
    EXPECT_EQ(Run(arguments).status, 0) << option.front();
  }
}

TEST_F(Usage, OptionWithoutItsValue) {
  ExpectOptionError({"--rl"}, "--rl: expected NUMBER, found nothing");
  ExpectOptionError({"--form"}, "--form: expected can|gateway|kline, found nothing");
  ExpectOptionError({"--ids", "1"}, "--ids: expected RECEIVE SEND, found fewer words");
}

TEST_F(Usage, UnknownChoice) {
  ExpectOptionError({"--form", "lin"}, "--form: expected can, gateway or kline, found \"lin\"");
  ExpectUsageError({"simulate", "--bus", "lin"}, "--bus: expected slcan or kline, found \"lin\"");
}

TEST_F(Usage, NumbersOutOfRange) {
  ExpectOptionError({"--block", "256"}, "--block: expected a number from 1 to 255, found \"256\"");
  ExpectOptionError({"--block", "0"}, "--block: expected a number from 1 to 255, found \"0\"");
  ExpectOptionError({"--rl", "0x100"}, "--rl: expected a number from 0 to 255, found \"0x100\"");
  ExpectOptionError({"--fill", "-1"}, "--fill: expected a number from 0 to 255, found \"-1\"");
  ExpectOptionError({"--routine", "x"}, "--routine: expected a number from 0 to 255, found \"x\"");
  ExpectOptionError({"--align", "0"},
                    "--align: expected a number from 1 to 2147483647, found \"0\"");
  ExpectOptionError({"--bitrate", "0"},
                    "--bitrate: expected a number from 1 to 100000000, found \"0\"");
  ExpectOptionError({"--ids", "0", "1"},
                    "--ids: expected a number from 1 to 536870911, found \"0\"");
  ExpectOptionError({"--flow-control", "1", "256"},
                    "--flow-control: expected a number from 0 to 255, found \"256\"");
  ExpectOptionError({"--base", "0x100000000"},
                    "--base: expected a number from 0 to 4294967295, found \"0x100000000\"");
}

TEST_F(Usage, BlockThatFitsNoMessageOfTheForm) {
  ExpectOptionError({"--block", "248", "--form", "gateway"},
                    "--block: expected at most 247 for --form gateway and --form kline, found 248");
  ExpectOptionError({"--block", "248", "--form", "kline"},
                    "--block: expected at most 247 for --form gateway and --form kline, found 248");
}

TEST_F(Usage, OptionsOfAnotherForm) {
  ExpectOptionError({"--form", "gateway", "--ids", "1", "2"}, "--ids: only for --form can");
  ExpectOptionError({"--ids", "5", "5"}, "--ids: expected two identifiers, found 0x005 twice");
  ExpectOptionError({"--address", "0x6E"}, "--address: only for --form gateway and --form kline");
}

TEST_F(Usage, AddressThatStandsForTheOtherForm) {
  ExpectOptionError({"--form", "gateway", "--address", "0x11"},
                    "--address: expected 0x6E or 0x7A for --form gateway, found 0x11");
  ExpectOptionError({"--form", "kline", "--address", "0x7A"},
                    "--address: expected any but 0x6E and 0x7A for --form kline, found 0x7A");
}

TEST_F(Usage, UnknownBus) {
  ExpectOptionError({"--bus", "can0"},
                    "--bus: found \"can0\": there is no bus \"can0\"; the forms are sim:, "
                    "slcan:DEVICE?bitrate=500000, socketcan:can0, kline:DEVICE?baud=10400 or "
                    "j2534:NAME?protocol=can&bitrate=500000");
}

TEST_F(Usage, IsAnEventWhereEventsAreAskedFor) {
  const std::vector<std::vector<std::string>> wrong = {
      {"flash", "--json"},
      {"plan", "a.s19", "--colour", "--json"},
      {"read", "--range", "1", "-o", "a", "--json"},
      {"identify", "--form", "gateway", "--ids", "1", "2", "--json"},
      {"flsh", "--json"},
      {"--json"}};
  for (const auto& arguments : wrong) {
    const ToolResult result = Run(arguments);
    EXPECT_EQ(result.status, 64);
    const json event = json::parse(result.out);
    EXPECT_EQ(event["event"], "error");
    EXPECT_EQ(event["exit"], 64);
    EXPECT_EQ(result.err, "quillmark: " + event["message"].get<std::string>() + "\nnext      " +
                              event["next"].get<std::string>() + "\n");
  }
}

TEST_F(Usage, LogRecordOfAnotherLength) {
  ExpectOptionError({"--log-record", "0102"},
                    "--log-record: expected 96 hexadecimal digits or \"none\", found \"0102\"");
}

TEST_F(Usage, UnknownFault) {
  ExpectOptionError({"--fault", "slow"},
                    "--fault: expected silent, silent@FRAME, lose-frame@FRAME, lose-every@COUNT, "
                    "flip-byte@FRAME, unplug@FRAME, write-once, refuse-key, bad-checksum@BLOCK, "
                    "bad-cell@ADDRESS, "
                    "pending@SERVICE:COUNT or negative@SERVICE:CODE, found \"slow\"");
}

TEST_F(Usage, ExpectedEcuWithoutText) {
  for (const char* text : {"  ", "hex:", "hex:ABC", "hex:2020"}) {
    ExpectOptionError(
        {"--expect-ecu", text},
        std::string("--expect-ecu: expected the text of an identification, or hex: and "
                    "its bytes in hexadecimal digits, found \"") +
            text + "\"");
  }
}

}  // namespace
}  // namespace quillmark::host::testing
