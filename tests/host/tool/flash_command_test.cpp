// SPDX-License-Identifier: MIT
// quillmark flash, where it ends well.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using FlashCommand = ToolTest;

TEST_F(FlashCommand, FlashesAnImageWithoutAnyOption) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  const ToolResult result = Run({"flash", image});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out,
              AllOf(StartsWith("tool      quillmark "),
                    HasSubstr(" on sim:, form can\nsettings  defaults\nimage     " + image +
                              ": Motorola S-record, 4 bytes in 2 segments\n"
                              "          001000 to 001001  2 bytes\n"
                              "          008000 to 008001  2 bytes\n"
                              "          SHA-256 9f64a747e1b97f131fabb6b447296c9b6f0201e79fb3c5356e"
                              "6c77e89b6a806a\n"
                              "identify\n"
                              "about to  erase memory 00 of SIMULATED ECU 001 REV A\n"
                              "          and write 4 bytes into 001000 to 008001\n"
                              "unlock\nerase\ndownload    0 %  0 of 4 B\n"),
                    HasSubstr("\ncheck\nlog zone\nclose\necu       SIMULATED ECU 001 REV A\n"
                              "sent      4 bytes in "),
                    HasSubstr("; 0 bytes left out as fill\n"
                              "check     the ECU's check routine found the memory right\n"
                              "done      in "),
                    EndsWith(" of bus time\n")));
}

struct FormArguments {
  const char* name;
  std::vector<std::string> arguments;

  friend void PrintTo(const FormArguments& form, std::ostream* out) { *out << form.name; }
};

class FlashInEveryForm : public ToolTest, public ::testing::WithParamInterface<FormArguments> {
 protected:
  ToolResult Flash(const std::string& image, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"flash", image, "--base", "0x8000", "--verify"});
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    return Run(arguments);
  }
};

TEST_P(FlashInEveryForm, VerifiesEveryByte) {
  const ToolResult result = Flash(folder_.Write("a.bin", Pattern(5000)), {});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, HasSubstr("verify    5,000 bytes read back and found equal\n"));
}

TEST_P(FlashInEveryForm, LeavesOutFillInWholeUnits) {
  const std::string image = Pattern(16) + std::string(70, '\xFF') + Pattern(10);
  const ToolResult result =
      Flash(folder_.Write("a.bin", image), {"--align", "32", "--block", "16"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, AllOf(HasSubstr("; 32 bytes left out as fill\n"),
                                HasSubstr("verify    96 bytes read back and found equal\n")));
}

TEST_P(FlashInEveryForm, TakesTheLargestAndTheSmallestBlock) {
  const std::string image = folder_.Write("a.bin", Pattern(600));
  EXPECT_EQ(Flash(image, {"--block", "247"}).status, 0);
  EXPECT_EQ(Flash(image, {"--block", "1"}).status, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, FlashInEveryForm,
    ::testing::Values(
        FormArguments{"PlainCan", {"--form", "can"}},
        FormArguments{"ExtendedIdentifiers",
                      {"--form", "can", "--ids", "0x18DAF110", "0x18DA10F1"}},
        FormArguments{"UnlimitedBlockSize", {"--form", "can", "--flow-control", "0", "0"}},
        FormArguments{"SeparationTime", {"--form", "can", "--flow-control", "8", "5"}},
        FormArguments{"Gateway", {"--form", "gateway"}},
        FormArguments{"SecondGatewayAddress", {"--form", "gateway", "--address", "0x7A"}},
        FormArguments{"KLine", {"--form", "kline"}},
        FormArguments{"KLineAddress", {"--form", "kline", "--address", "0xFE"}}),
    [](const auto& test) { return test.param.name; });

TEST_F(FlashCommand, TakesEveryOptionOfTheEcu) {
  const ToolResult result = Run({"flash",  folder_.Write("a.bin", Pattern(300)),
                                 "--base", "65536",
                                 "--ids",  "1",
                                 "0x7FF",  "--rl",
                                 "7",      "--routine",
                                 "0x10",   "--log-record",
                                 "none",   "--block",
                                 "255",    "--bitrate",
                                 "125000", "--bus",
                                 "sim:",   "--verify"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, ::testing::Not(HasSubstr("log zone")));
}

TEST_F(FlashCommand, ReachesTheLastAddressOf24Bits) {
  const ToolResult result =
      Run({"flash", folder_.Write("a.s28", "S206FFFFFE0102FA\nS804000000FB\n"), "--verify"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("          FFFFFE to FFFFFF  2 bytes\n"));
}

TEST_F(FlashCommand, WaitsForAnEcuThatIsPending) {
  const ToolResult result =
      Run({"flash", folder_.Write("a.s19", kTwoSegments), "--verify", "--fault", "pending@0x34:3"});
  EXPECT_EQ(result.status, 0);
}

TEST_F(FlashCommand, TakesTheKeyOfAProgram) {
  const std::string program =
      folder_.Write("key", "echo \"$1\" >" + folder_.Path("seed") + "\necho 01020304\n");
  const ToolResult result =
      Run({"flash", folder_.Write("a.s19", kTwoSegments), "--key-command", "sh " + program});
  EXPECT_EQ(folder_.Read("seed").size(), 9U);
  EXPECT_EQ(result.status, 76);
  EXPECT_EQ(result.err,
            "quillmark: unlock: Requested Service : 27 Negative response code : 35; negative "
            "response 35, invalid key (error 2037)\n"
            "step      unlock, service 27, step 2 of the document\n"
            "ecu       as before, nothing was erased or written; no session is open\n"
            "next      find out the right key before another try: the ECU counts wrong keys and "
            "closes its security access after a few\n");
}

TEST_F(FlashCommand, PrintsLinesOfJson) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  const ToolResult result = Run({"flash", image, "--verify", "--json"});
  EXPECT_EQ(result.status, 0);
  std::vector<nlohmann::json> events;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    events.push_back(nlohmann::json::parse(line));
  }
  ASSERT_GT(events.size(), 8U);
  EXPECT_EQ(events.front().at("event"), "settings");
  EXPECT_EQ(events[1],
            nlohmann::json::parse(
                R"({"event":"image","file":")" + image +
                R"(","format":"Motorola S-record","bytes":4,"sha256":"9f64a747e1b97f131f)"
                R"(abb6b447296c9b6f0201e79fb3c5356e6c77e89b6a806a","segments":[)"
                R"({"address":4096,"bytes":2},{"address":32768,"bytes":2}],)"
                R"("repeated_records":0})"));
  EXPECT_EQ(events[2].at("event"), "progress");
  EXPECT_EQ(events[2].at("phase"), "identify");
  EXPECT_EQ(events.back().at("event"), "done");
  EXPECT_EQ(events.back().at("ecu"), "SIMULATED ECU 001 REV A");
  EXPECT_EQ(events.back().at("image_bytes"), 4);
  EXPECT_EQ(events.back().at("sent_bytes"), 4);
  EXPECT_EQ(events.back().at("verified_bytes"), 4);
}

TEST_F(FlashCommand, DrawsABarOnATerminal) {
  const std::string image = folder_.Write("a.bin", Pattern(5000));
  ToolProcess process({"flash", image, "--base", "0"}, "/dev/null", folder_.Path("stderr"),
                      ToolProcess::Output::kTerminal);
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_THAT(process.output(),
              AllOf(HasSubstr("\rdownload  [-"), HasSubstr("#] 100 %  5,000 of 5,000 B"),
                    ContainsRegex("\r\n\rcheck *\r\n")));
}

TEST_F(FlashCommand, DrawsNoLineThatIsWiderThanTheTerminal) {
  const std::string image = folder_.Write("a.bin", Pattern(50'000));
  ToolProcess process({"flash", image, "--base", "0", "--verify"}, "/dev/null",
                      folder_.Path("stderr"), ToolProcess::Output::kTerminal, 20);
  EXPECT_EQ(process.Wait(), 0);
  std::istringstream drawings(process.output());
  std::string drawing;
  std::getline(drawings, drawing, '\r');  // what came before the first
  while (std::getline(drawings, drawing, '\r')) {
    EXPECT_TRUE(drawing.starts_with('\n') || drawing.size() < 20) << drawing;
  }
  EXPECT_THAT(process.output(), ContainsRegex("\rdownload   40 % *\r"));
}

TEST_F(FlashCommand, CarriesOnWhereNobodyReadsItsOutput) {
  const std::string image = folder_.Write("a.bin", Pattern(5000));
  ToolProcess process({"flash", image, "--base", "0"}, "/dev/null", folder_.Path("stderr"));
  EXPECT_TRUE(process.ReadUntil("image"));
  process.CloseOutput();
  EXPECT_EQ(process.Wait(), 74);
  EXPECT_EQ(folder_.Read("stderr"),
            "quillmark: cannot write to standard output; the flash itself succeeded\n");
}

}  // namespace
}  // namespace quillmark::host::testing
