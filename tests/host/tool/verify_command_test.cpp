// SPDX-License-Identifier: MIT
// quillmark verify, and what says afterwards which bytes were meant and which were found.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"
#include "tests/support/report_page.h"

namespace quillmark::host::testing {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;

// Of sha256sum: sixteen and four bytes 5A, which a simulated ECU holds, and 01 02 03 04.
constexpr const char* kDigestOf16 =
    "1c712ecc21e27e374111d5a1beeaf75a4e343b3814c1847cba14013420809873";
constexpr const char* kDigestOf4 =
    "967411641f205748bbbd223a23d4e06b6e609648102da0d886a709108a499889";
constexpr const char* kDigestOfTwoSegments =
    "9f64a747e1b97f131fabb6b447296c9b6f0201e79fb3c5356e6c77e89b6a806a";

class VerifyCommand : public ToolTest {
 protected:
  /// What a simulated ECU holds before it is flashed.
  std::string UntouchedImage() { return folder_.Write("old.bin", std::string(16, '\x5A')); }

  json ReadJson(const std::string& name) { return json::parse(folder_.Read("run/" + name)); }
};

TEST_F(VerifyCommand, FindsTheMemoryEqualInEveryForm) {
  const std::string image = UntouchedImage();
  for (const char* form : {"can", "gateway", "kline"}) {
    const ToolResult result = Run({"verify", image, "--base", "0x1000", "--form", form});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(
        result.out,
        AllOf(HasSubstr("\n          SHA-256 " + std::string(kDigestOf16) + "\nidentify\nunlock\n"),
              HasSubstr("\nread back SHA-256 " + std::string(kDigestOf16) + "\nclose\n"),
              HasSubstr("\nverify    16 bytes read back and found equal\n"),
              Not(HasSubstr("erase"))));
  }
}

TEST_F(VerifyCommand, NamesTheFirstDifferenceAndLeavesTheEcuAsItWas) {
  const ToolResult result =
      Run({"verify", folder_.Write("a.s19", kTwoSegments), "--artifacts", folder_.Path("run")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, AllOf(HasSubstr("quillmark: verify at 0x001000: 4 bytes differ"),
                                HasSubstr("as before, nothing was erased or written")));
  EXPECT_EQ(ReadJson("result.json")["image_sha256"], kDigestOfTwoSegments);
  EXPECT_EQ(ReadJson("result.json")["read_back_sha256"], kDigestOf4);
}

TEST_F(VerifyCommand, IsReported) {
  EXPECT_EQ(
      Run({"verify", UntouchedImage(), "--base", "0x1000", "--artifacts", folder_.Path("run")})
          .status,
      0);
  const ToolResult report = Run({"report", folder_.Path("run"), "-o", folder_.Path("page.html")});
  EXPECT_EQ(report.status, 0) << report.err;
  EXPECT_THAT(report.out, HasSubstr("outcome   Verified 16 bytes in "));
  EXPECT_THAT(DataOfReport(folder_.Read("page.html")).dump(), HasSubstr(kDigestOf16));
}

TEST_F(VerifyCommand, SaysHowOftenItAskedAgain) {
  const ToolResult result =
      Run({"verify", UntouchedImage(), "--base", "0x1000", "--fault", "lose-frame@40"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("\nagain     asked again 1 time\n"));
}

TEST_F(VerifyCommand, RefusesAnotherEcu) {
  EXPECT_EQ(Run({"verify", UntouchedImage(), "--base", "0", "--expect-ecu", "ANOTHER"}).status, 69);
}

using RunRecord = VerifyCommand;

TEST_F(RunRecord, SaysWithWhatAFlashWorkedAndWhichBytesItMeantAndFound) {
  const ToolResult result =
      Run({"flash", folder_.Write("a.s19", kTwoSegments), "--verify", "--p2", "2000",
           "--key-command", ": secret; echo 14B34E00 #", "--artifacts", folder_.Path("run")});
  for (const char* file : {"plan.json", "result.json"}) {
    const json record = ReadJson(file);
    EXPECT_THAT(result.out,
                HasSubstr("tool      quillmark " + record["version"].get<std::string>() +
                          " on sim:, form can\nsettings  p2 2000, a key command\n"));
    EXPECT_EQ(record["bus"], "sim:");
    EXPECT_THAT(record["settings"].get<std::vector<std::string>>(),
                IsSupersetOf({"ids = 0x73A 0x632", "p2 = 2000", "routine = 0x02"}));
    EXPECT_THAT(folder_.Read("run/" + std::string(file)), Not(HasSubstr("secret")));
  }
  EXPECT_EQ(ReadJson("plan.json")["image"]["sha256"], kDigestOfTwoSegments);
}

TEST_F(RunRecord, HasTheDigestOfWhatAFlashReadBack) {
  EXPECT_EQ(Run({"flash", folder_.Write("a.s19", kTwoSegments), "--verify", "--artifacts",
                 folder_.Path("run")})
                .status,
            0);
  EXPECT_EQ(ReadJson("result.json")["image_sha256"], kDigestOfTwoSegments);
  EXPECT_EQ(ReadJson("result.json")["read_back_sha256"], kDigestOfTwoSegments);
}

using SeveralImages = ToolTest;

TEST_F(SeveralImages, AreFlashedAndVerifiedAsOne) {
  const std::string low = folder_.Write("low.s19", kTwoSegments);
  const std::string high = folder_.Write("high.bin", std::string("\x02\x05\x06", 3));
  const std::vector<std::string> images = {low, "--base", "0x1001", high};
  for (const char* command : {"plan", "flash"}) {
    std::vector<std::string> arguments = images;
    arguments.insert(arguments.begin(), command);
    const ToolResult result = Run(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    // Of sha256sum: 01 02 05 06 03 04.
    EXPECT_THAT(
        result.out,
        HasSubstr(
            "\ntogether  6 bytes in 2 segments\n"
            "          001000 to 001003  4 bytes\n"
            "          008000 to 008001  2 bytes\n"
            "          SHA-256 892921f59dafd48ba327b7a40deb1aeabda701325142a5f5d46fc2e20ae31b48\n"
            "warning   1 byte in several images, with the same values\n"));
  }
  const ToolResult result =
      Run({"flash", low, high, "--base", "0x1001", "--verify", "--artifacts", folder_.Path("run")});
  EXPECT_THAT(
      result.out,
      AllOf(HasSubstr("\n          and write 6 bytes into 001000 to 008001\n"),
            HasSubstr("\nread back SHA-256 "
                      "892921f59dafd48ba327b7a40deb1aeabda701325142a5f5d46fc2e20ae31b48\n")));
  const auto record = nlohmann::json::parse(folder_.Read("run/result.json"));
  EXPECT_EQ(record["image_sha256"], record["read_back_sha256"]);
  EXPECT_EQ(Run({"report", folder_.Path("run"), "-o", folder_.Path("r.html")}).status, 0);
  EXPECT_THAT(DataOfReport(folder_.Read("r.html")).dump(), HasSubstr("high.bin"));
}

TEST_F(SeveralImages, ThatContradictEachOtherAreRefusedBeforeAnythingIsSent) {
  const std::string low = folder_.Write("low.s19", kTwoSegments);
  const std::string high = folder_.Write("high.bin", std::string("\x02\x05\x06", 3));
  const ToolResult result = Run({"flash", low, high, "--base", "0x1000"});
  EXPECT_EQ(result.status, 65);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err,
              AllOf(HasSubstr(high + ": overlap: address 00001000 is 02 here, but 01 in " + low),
                    HasSubstr("nothing was sent")));
}

TEST_F(SeveralImages, NeedABaseForEachRawBinary) {
  const std::string low = folder_.Write("low.s19", kTwoSegments);
  const std::string a = folder_.Write("a.bin", "a");
  const std::string b = folder_.Write("b.bin", "b");
  EXPECT_THAT(
      Run({"plan", a, low, b, "--base", "0", "--base", "1"}).out,
      HasSubstr("\ntogether  6 bytes in 3 segments\n          000000 to 000001  2 bytes\n"));
  const ToolResult few = Run({"plan", a, low, b, "--base", "0"});
  EXPECT_EQ(few.status, 64);
  EXPECT_THAT(few.err, AllOf(HasSubstr(b + ": neither"), HasSubstr("--base once for each raw")));
  const ToolResult many = Run({"plan", a, low, "--base", "0", "--base", "1"});
  EXPECT_EQ(many.status, 64);
  EXPECT_THAT(
      many.err,
      HasSubstr("expected --base once for each raw binary, found it 2 times for 1 of them"));
}

TEST_F(RunRecord, NeverReplacesTheProfile) {
  const std::string profile = folder_.Write("p", "p2 = 2000\n");
  EXPECT_EQ(Run({"verify", UntouchedImage(), "--base", "0", "--profile", profile, "--trace",
                 profile, "--force"})
                .status,
            73);
  EXPECT_EQ(folder_.Read("p"), "p2 = 2000\n");
}

}  // namespace
}  // namespace quillmark::host::testing
