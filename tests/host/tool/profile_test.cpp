// SPDX-License-Identifier: MIT
// Profiles: files of settings for --profile.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "host/tool/command_line.h"
#include "quillmark/host/bytes.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* kEverySetting =
    "form = can\n"
    "ids = 0x18DAF110 0x18DA10F1\n"
    "flow-control = 8 20\n"
    "p2 = 1500\n"
    "p2-star = 6000\n"
    "max-pending = 7\n"
    "repeat = 0\n"
    "max-wait-frames = 30\n"
    "tester-present = 1900\n"
    "expect-ecu = hex:0001FE\n"
    "key-command = echo \"a key\" = 'b' #\n"
    "key-timeout = 4000\n"
    "rl = 0x81\n"
    "fill = 0x00\n"
    "align = 32\n"
    "block = 64\n"
    "routine = 0x07\n"
    "min-voltage = 11.5\n";

class ProfileTest : public ToolTest {
 protected:
  ProfileTest() { ::setenv("XDG_CONFIG_HOME", folder_.Path("configuration").c_str(), 1); }

  /// What the tool makes of a profile.
  ToolResult Print(const std::string& text, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"profile", "--profile", folder_.Write("p", text)});
    return Run(options);
  }

  void ExpectDamage(const std::string& text, const std::string& message) {
    const ToolResult result = Print(text);
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("quillmark: " + folder_.Path("p") + ":" + message + "\n"));
  }
};

TEST_F(ProfileTest, PrintsWhatItReads) {
  EXPECT_EQ(Print(kEverySetting).out, kEverySetting);
  const std::string k_line = Run({"profile", "--form", "kline", "--address", "0x33"}).out;
  EXPECT_THAT(k_line, StartsWith("form = kline\naddress = 0x33\np2 = 1000\n"));
  EXPECT_EQ(Print(k_line).out, k_line);
}

TEST_F(ProfileTest, LeavesTheFlowControlToTheEcu) {
  const ToolResult fixed = Print("flow-control = 8 20\n", {"--flow-control", "auto"});
  EXPECT_THAT(fixed.out, HasSubstr("\nflow-control = auto\n")) << "the command line wins";
  EXPECT_EQ(Print(fixed.out).out, fixed.out);
}

TEST_F(ProfileTest, PrintsTheDefaultsWithoutOne) {
  const ToolResult result = Run({"profile"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, AllOf(StartsWith("form = can\nids = 0x73A 0x632\nflow-control = auto\n"),
                                HasSubstr("\nkey-timeout = 30000\nrl = 0x00\n")));
}

TEST_F(ProfileTest, GivesWayToTheCommandLine) {
  const ToolResult result = Print("p2 = 1500\nids = 1 2\n", {"--ids", "3", "4", "--rl", "5"});
  EXPECT_THAT(result.out, AllOf(HasSubstr("ids = 0x003 0x004\n"), HasSubstr("p2 = 1500\n"),
                                HasSubstr("rl = 0x05\n")));
}

TEST_F(ProfileTest, MayHaveCommentsAndBlanks) {
  EXPECT_THAT(Print("\xEF\xBB\xBF# of a bench\r\n\r\n\t p2=1500 \r\n  # and no more").out,
              HasSubstr("\np2 = 1500\n"));
}

TEST_F(ProfileTest, IsFoundByNameInTheFolderOfTheUserAlone) {
  std::filesystem::create_directories(folder_.Path("configuration/quillmark/profiles"));
  static_cast<void>(folder_.Write("configuration/quillmark/profiles/bench", "p2 = 1234\n"));
  EXPECT_THAT(Run({"profile", "--profile", "bench"}).out, HasSubstr("\np2 = 1234\n"));
  const ToolResult missing = Run({"profile", "--profile", "p"});
  EXPECT_EQ(missing.status, 66);
  EXPECT_THAT(missing.err,
              AllOf(HasSubstr("configuration/quillmark/profiles/p: No such file or directory"),
                    HasSubstr("write a file of this folder as ./p")));
}

TEST_F(ProfileTest, IsNeverFoundByWhatDependsOnTheCurrentFolder) {
  ::setenv("XDG_CONFIG_HOME", "configuration", 1);
  ::setenv("HOME", folder_.Path("home").c_str(), 1);
  EXPECT_THAT(Run({"profile", "--profile", "p"}).err,
              HasSubstr(folder_.Path("home/.config/quillmark/profiles/p") + ": No such file"));
  EXPECT_EQ(Run({"profile", "--profile", ""}).status, 64);

  ::setenv("HOME", "home", 1);
  const ToolResult result = Run({"profile", "--profile", "p"});
  EXPECT_EQ(result.status, 66);
  EXPECT_THAT(result.err, StartsWith("quillmark: expected an absolute path in HOME or "
                                     "XDG_CONFIG_HOME for the folder of profiles, found none\n"));
}

TEST_F(ProfileTest, IsNamedWhereItsOptionsDoNotGoWithTheCommandLine) {
  const ToolResult result = Print("ids = 1 2\n", {"--form", "kline"});
  EXPECT_EQ(result.status, 64);
  EXPECT_THAT(result.err, AllOf(StartsWith("quillmark: --ids: only for --form can\n"),
                                HasSubstr("; look at the options in " + folder_.Path("p"))));
}

std::string Printed(std::vector<std::string> arguments) {
  Command command;
  const auto app = MakeCommandLine(command);
  arguments.emplace_back("profile");
  std::reverse(arguments.begin(), arguments.end() - 1);
  app->parse(std::move(arguments));
  std::ostringstream out;
  command.run(*MakeReporter(ReportStyle::kPlain, out));
  return out.str();
}

TEST_F(ProfileTest, GivesEverySettingBack) {
  EXPECT_TRUE(rc::check([this] {
    std::vector<std::string> arguments;
    std::vector<std::string> given;
    const auto add = [&](const std::string& option, const std::vector<std::string>& values) {
      if (*rc::gen::arbitrary<bool>()) {
        given.push_back(option);
        arguments.push_back(option);
        arguments.insert(arguments.end(), values.begin(), values.end());
      }
    };
    const auto number = [](int first, int last) {
      return std::to_string(*rc::gen::inRange(first, last + 1));
    };
    const bool can = *rc::gen::arbitrary<bool>();
    arguments = {"--form", can ? "can" : "kline"};
    add(can ? "--ids" : "--address",
        can ? std::vector{number(1, 999), number(1000, 0x1FFFFFFF)} : std::vector{number(0, 0x6D)});
    if (can) {
      add("--flow-control", {number(0, 255), number(0, 255)});
    }
    add("--rl", {number(0, 255)});
    add("--routine", {number(0, 255)});
    add("--fill", {number(0, 255)});
    add("--align", {number(1, 1 << 30)});
    add("--block", {number(1, 247)});
    for (const char* time : {"--p2", "--p2-star", "--tester-present", "--key-timeout"}) {
      add(time, {number(1, 600'000)});
    }
    add("--max-pending", {number(0, 1'000'000)});
    add("--repeat", {number(0, 100)});
    add("--min-voltage", {fmt::format("{}.{}", number(1, 59), number(0, 9999))});
    add("--max-wait-frames", {number(0, 1'000'000)});
    const auto text = *rc::gen::container<std::string>(rc::gen::inRange(' ', '\x7F'));
    add("--key-command", {"." + text + "."});
    const auto ecu = *rc::gen::container<Bytes>(rc::gen::arbitrary<std::uint8_t>());
    add("--expect-ecu",
        {*rc::gen::arbitrary<bool>() ? "hex:" + HexOf(ecu) + "41" : "." + text + "."});
    const std::string printed = Printed(arguments);
    for (const std::string& option : given) {
      RC_ASSERT(printed.find('\n' + option.substr(2) + " = ") != std::string::npos);
    }
    RC_ASSERT(Printed({"--profile", folder_.Write("p", printed)}) == printed);
  }));
}

TEST_F(ProfileTest, OfAnEcuReachesIt) {
  const std::string profile = folder_.Write(
      "p",
      "form = kline\naddress = 0x33\nrl = 0x81\nroutine = 7\nexpect-ecu = SIMULATED ECU 001 "
      "REV A\n");
  for (const char* command : {"flash", "verify", "plan"}) {
    const ToolResult result =
        Run({command, folder_.Write("a.s19", kTwoSegments), "--profile", profile});
    EXPECT_EQ(result.status, std::string(command) == "verify" ? 1 : 0) << result.err;
  }
  EXPECT_EQ(Run({"identify", "--profile", profile}).status, 0);
  EXPECT_EQ(
      Run({"read", "--range", "0:16", "-o", folder_.Path("r.bin"), "--profile", profile}).status,
      0);
}

TEST_F(ProfileTest, AsksForABatteryUnlessTheCommandLineDoesNot) {
  const std::vector<std::string> flash = {"flash", folder_.Write("a.s19", kTwoSegments),
                                          "--profile", folder_.Write("p", "min-voltage = 11.5\n")};
  const ToolResult refused = Run(flash);
  EXPECT_EQ(refused.status, 69);
  EXPECT_THAT(refused.err, HasSubstr("expected a battery of at least 11.5 V"));
  std::vector<std::string> all_the_same = flash;
  all_the_same.insert(all_the_same.end(), {"--min-voltage", "none"});
  EXPECT_EQ(Run(all_the_same).status, 0);
}

TEST_F(ProfileTest, ThatIsDamagedIsRefusedWithItsLine) {
  ExpectDamage("\np2", "2: expected NAME = VALUE, found \"p2\"");
  ExpectDamage("p2 =", "1: expected a value of p2, found none");
  ExpectDamage("p2 = fast", "1: --p2: expected a number from 1 to 600000, found \"fast\"");
  ExpectDamage("p2 = 1\np2 = 1", "2: p2 is in line 1 already");
  EXPECT_THAT(Print("yes = 1").err, HasSubstr(":1: expected one of form, ids, "));
  ExpectDamage("ids = 1", "1: --ids: expected RECEIVE SEND, found \"1\"");
  ExpectDamage("ids = 1 2 3", "1: --ids: expected RECEIVE SEND, found \"1 2 3\"");
  ExpectDamage("key-command = echo\x1B[8m", "1: expected text, found the control character 0x1B");
  ExpectDamage(std::string(3, '\0'), "1: expected text, found the control character 0x00");
  ExpectDamage(std::string(5000, 'S'),
               "1: expected NAME = VALUE, found \"" + std::string(60, 'S') + "\"");
}

TEST_F(ProfileTest, IsPrintedOnlyIfItCanBeReadBack) {
  for (const char* command : {"two\nlines", " blank", "\x1B", "\xFF"}) {
    const ToolResult result = Run({"profile", "--key-command", command});
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(ProfileTest, NamesNoFileThatIsWritten) {
  for (const char* option : {"trace", "artifacts", "backup", "output", "force", "yes", "bus"}) {
    EXPECT_THAT(Print(std::string(option) + " = x").err, HasSubstr(":1: expected one of form, "));
  }
}

TEST_F(ProfileTest, ThatCannotBeReadIsRefused) {
  const std::string endless = folder_.Write("endless", std::string(70'000, '#'));
  for (const std::string& path : {folder_.Path("none"), folder_.Path(""), endless}) {
    const ToolResult result = Run({"flash", "a.s19", "--profile", path, "--json"});
    EXPECT_EQ(result.status, 66);
    EXPECT_THAT(result.out, StartsWith("{\"event\":\"error\",\"exit\":66,"));
  }
}

}  // namespace
}  // namespace quillmark::host::testing
