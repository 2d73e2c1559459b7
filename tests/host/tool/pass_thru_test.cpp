// SPDX-License-Identifier: MIT
// The tool on a simulated pass-thru adapter: the flashes of the two-process test in both forms that
// such an adapter carries. The library counts each call that breaks the rules of the programming
// interface; none may.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/host/pass_thru/simulator_library.h"
#include "tests/host/tool/flash_faults.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::size_t kBase = 0x1000;

class PassThru : public ToolTest {
 protected:
  PassThru() { Simulate(""); }

  /// Settings of the adapter that the next run finds.
  void Simulate(const std::string& settings) {
    simulator_.Set("--memory " + folder_.Path("memory") + ' ' + settings);
  }

  /// A command line that is patient, since the machine may be busy elsewhere.
  std::vector<std::string> FlashCommand(const std::string& image,
                                        const std::vector<std::string>& options = {},
                                        const std::string& parameters = "", int width = 32,
                                        const std::string& p2 = "5000") {
    std::vector<std::string> arguments{"flash",  folder_.Write("image.bin", image),
                                       "--base", std::to_string(kBase),
                                       "--bus",  Bus(parameters, width),
                                       "--p2",   p2,
                                       "--yes"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
  }
  static std::string Bus(const std::string& parameters = "", int width = 32) {
    return "j2534:" + PassThruSimulator::Library(width) + "?width=" + std::to_string(width) +
           parameters;
  }

  /// What the adapter's ECU kept of its flash.
  std::string Kept(std::size_t size) { return folder_.Read("memory").substr(kBase, size); }

  void ExpectFlashed(const ToolResult& result, const std::string& image) {
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Kept(image.size()), image);
    EXPECT_EQ(simulator_.Report(), kNoViolations);
  }

  PassThruSimulator simulator_{folder_};
};

class PassThruOfBothWidths : public PassThru, public ::testing::WithParamInterface<int> {};

TEST_P(PassThruOfBothWidths, FlashesTensOfKilobytesOverCan) {
  const std::string image = Pattern(20'000);
  Simulate("--flow-control 0 0");
  const ToolResult result =
      Run(FlashCommand(image, {"--verify", "--flow-control", "0", "0"}, "", GetParam()));
  ExpectFlashed(result, image);
  EXPECT_THAT(result.out, HasSubstr("verify    20,000 bytes read back and found equal\n"));
}

TEST_P(PassThruOfBothWidths, FlashesTwoKilobytesOverAKLine) {
  const std::string image = Pattern(2048);
  const ToolResult result =
      Run(FlashCommand(image, {"--verify"}, "&protocol=kline&p3=0&p4=0", GetParam()));
  ExpectFlashed(result, image);
  EXPECT_THAT(result.out, HasSubstr("verify    2,048 bytes read back and found equal\n"));
}

INSTANTIATE_TEST_SUITE_P(Widths, PassThruOfBothWidths, ::testing::Values(32, 64),
                         [](const auto& test) { return "Bits" + std::to_string(test.param); });

TEST_F(PassThru, FlashesOverAKLineWithTheUsualPauses) {
  const std::string image = Pattern(64);
  ExpectFlashed(Run(FlashCommand(image, {}, "&protocol=kline")), image);
}

TEST_F(PassThru, FlashesOnceWrittenMemoryOverCanThatLosesFrames) {
  const std::string image = Pattern(2000);
  Simulate("--fault lose-every@500 --fault write-once");
  ExpectFlashed(Run(FlashCommand(image, {"--verify"}, "", 32, "500")), image);
}

TEST_F(PassThru, FlashesOnceWrittenMemoryOverAKLineThatLosesMessages) {
  const std::string image = Pattern(500);
  Simulate("--fault lose-every@50 --fault write-once");
  ExpectFlashed(Run(FlashCommand(image, {"--verify", "--block", "16"}, "&protocol=kline&p3=0&p4=0",
                                 32, "500")),
                image);
}

TEST_F(PassThru, FlashesWithIdentifiersOf29Bits) {
  const std::string image = Pattern(300);
  Simulate("--ids 0x18DAF110 0x18DA10F1");
  ExpectFlashed(Run(FlashCommand(image, {"--ids", "0x18DAF110", "0x18DA10F1", "--verify"})), image);
}

TEST_F(PassThru, FlashesAnotherAddressAndSpeedOfAKLine) {
  const std::string image = Pattern(64);
  Simulate("--form kline --address 0x33 --bitrate 9600");
  ExpectFlashed(
      Run(FlashCommand(image, {"--address", "0x33"}, "&protocol=kline&bitrate=9600&p4=0")), image);
}

TEST_F(PassThru, AgreesOnTheFlowControlThatTheEcuAsksFor) {
  const std::string image = Pattern(300);
  Simulate("--flow-control 8 5");
  ExpectFlashed(Run(FlashCommand(image, {"--verify"})), image);
}

TEST_F(PassThru, ReadsWhatWasFlashed) {
  const std::string image = Pattern(100);
  ASSERT_EQ(Run(FlashCommand(image)).status, 0);
  const ToolResult read = Run({"read", "--range", "0x1000:100", "-o", folder_.Path("read.bin"),
                               "--bus", Bus(), "--p2", "5000"});
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(folder_.Read("read.bin"), image);
}

TEST_F(PassThru, SpeaksAtTheSameBitRateOrNotAtAll) {
  Simulate("--bitrate 250000");
  const ToolResult wrong = Run({"identify", "--bus", Bus()});
  EXPECT_EQ(wrong.status, 74);
  EXPECT_THAT(wrong.err, HasSubstr("PassThruWriteMsgs returns ERR_TIMEOUT: the message was not "
                                   "sent in time"));
  EXPECT_EQ(Run({"identify", "--bus", Bus("&bitrate=250000"), "--p2", "5000"}).status, 0);
}

TEST_F(PassThru, LeavesWordOfAnEcuThatWasInterrupted) {
  const std::string image = Pattern(20'000);
  ToolProcess flash(FlashCommand(image), "/dev/null", folder_.Path("stderr"));
  ASSERT_TRUE(flash.ReadUntil("download   10 %"));
  flash.Signal(SIGINT);
  EXPECT_EQ(flash.Wait(), 130);
  EXPECT_THAT(folder_.Read("stderr"), HasSubstr(" of 20000 bytes are written and confirmed"));
  EXPECT_NE(Kept(image.size()), image);
  EXPECT_EQ(simulator_.Report(), kNoViolations);
}

class FaultyPassThru : public PassThru, public ::testing::WithParamInterface<Fault> {};

TEST_P(FaultyPassThru, EndsAsOnAnyOtherBus) {
  const Fault& fault = GetParam();
  const bool is_unplugged = std::string(fault.name) == "Unplugged";
  const std::string image = Pattern(300);
  Simulate(std::string("--fault ") + fault.fault);
  std::vector<std::string> options = fault.options;
  options.insert(options.end(), {"--verify", "--repeat", "0"});
  const ToolResult result = Run(FlashCommand(image, options, "", 32, fault.p2));
  EXPECT_EQ(result.status, fault.status);
  EXPECT_THAT(result.out, Not(HasSubstr("done")));
  EXPECT_THAT(
      result.err,
      AllOf(
          HasSubstr(is_unplugged ? "ERR_DEVICE_NOT_CONNECTED: the device is gone" : fault.message),
          HasSubstr("\nstep      download"), HasSubstr(fault.state), HasSubstr("\nnext      ")));
  EXPECT_NE(Kept(image.size()), image);
  EXPECT_EQ(simulator_.Report(), kNoViolations);
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultyPassThru, ::testing::ValuesIn(kFlashFaults),
                         [](const auto& test) { return test.param.name; });

/// What an adapter itself does wrong in the middle of a flash.
struct AdapterFault {
  const char* name;
  const char* settings;
  int status;
  const char* message;

  friend void PrintTo(const AdapterFault& each, std::ostream* out) { *out << each.name; }
};

class FaultyAdapter : public PassThru, public ::testing::WithParamInterface<AdapterFault> {};

TEST_P(FaultyAdapter, EndsTheRunOrCostsARepetition) {
  const AdapterFault& fault = GetParam();
  Simulate(fault.settings);
  const ToolResult result =
      Run(FlashCommand(Pattern(300), {"--verify"}, "", 32, fault.status == 0 ? "500" : "5000"));
  EXPECT_EQ(result.status, fault.status) << result.err;
  EXPECT_THAT(result.err, HasSubstr(fault.message));
  EXPECT_THAT(simulator_.Report(), EndsWith(kNoViolations));
}

INSTANTIATE_TEST_SUITE_P(
    Adapters, FaultyAdapter,
    ::testing::Values(
        AdapterFault{"WriteTimesOut", "--fail PassThruWriteMsgs@120:9", 74,
                     "PassThruWriteMsgs returns ERR_TIMEOUT: the simulator was told to fail here"},
        AdapterFault{"TransmitBufferIsFull", "--fail PassThruWriteMsgs@120:0x11", 74,
                     "PassThruWriteMsgs returns ERR_BUFFER_FULL"},
        AdapterFault{"ReceiveBufferOverflowsOnce", "--fail PassThruReadMsgs@120:0x12", 0, ""},
        AdapterFault{"ReceiveBufferOverflowsAlways", "--fail PassThruReadMsgs@0:0x12", 74,
                     "the adapter loses frames again and again"},
        AdapterFault{"WritesSlowly", "--slow-write 3", 0, ""},
        AdapterFault{"HasNoEchoes", "--no-echoes", 0, ""},
        AdapterFault{"ReadFails", "--fail PassThruReadMsgs@120:7", 74,
                     "PassThruReadMsgs returns ERR_FAILED"}),
    [](const auto& test) { return test.param.name; });

TEST_F(PassThru, ShowsTheBatteryBeforeTheEraseAndRefusesALowOne) {
  const std::string image = Pattern(10);
  Simulate("--millivolts 11400");
  const ToolResult low = Run(FlashCommand(image, {"--min-voltage", "11.5"}));
  EXPECT_EQ(low.status, 69);
  EXPECT_THAT(low.out, AllOf(HasSubstr("battery   11.4 V\n"), Not(HasSubstr("about to"))));
  EXPECT_THAT(low.err,
              AllOf(HasSubstr("expected a battery of at least 11.5 V, found 11.4 V; nothing was "
                              "erased\n"),
                    HasSubstr("next      charge the battery or connect a supply")));
  const ToolResult enough = Run(FlashCommand(image, {"--min-voltage", "11.4"}));
  EXPECT_EQ(enough.status, 0) << enough.err;
  EXPECT_THAT(enough.out, HasSubstr("battery   11.4 V\nabout to  erase"));
}

TEST_F(PassThru, RefusesAnAdapterThatCannotTellTheVoltageWhereOneIsAskedFor) {
  Simulate("--no-battery");
  const ToolResult result = Run(FlashCommand(Pattern(10), {"--min-voltage", "11.5"}));
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.err, HasSubstr("this adapter cannot tell its voltage; nothing was erased"));
  EXPECT_EQ(Run(FlashCommand(Pattern(10))).status, 0);
}

TEST_F(PassThru, LeavesTheVersionsAndTheVoltageInTheArtifacts) {
  ASSERT_EQ(Run(FlashCommand(Pattern(10), {"--artifacts", folder_.Path("artifacts")})).status, 0);
  const auto result = nlohmann::json::parse(folder_.Read("artifacts/result.json"));
  EXPECT_EQ(result["adapter"],
            (nlohmann::json{{"firmware", "1.0 simulated"}, {"library", "1.0"}, {"api", "04.04"}}));
  EXPECT_EQ(result["battery_millivolts"], 12'600);
}

using Voltages = ToolTest;

TEST_F(Voltages, AreNumbersOfVolts) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  for (const char* const text : {"x", "-1", "0", "0.0001", "61", "11,5", "1e1", "nan", "inf"}) {
    const ToolResult result = Run({"flash", image, "--min-voltage", text});
    EXPECT_EQ(result.status, 64) << text;
    EXPECT_THAT(result.err,
                HasSubstr("--min-voltage: expected a voltage from 0.001 to 60 V, or none"));
  }
  EXPECT_EQ(Run({"flash", image, "--min-voltage", "11.5"}).status, 69) << "sim: has no battery";
}

class Devices : public ToolTest {
 protected:
  Devices() {
    ::setenv("HOME", folder_.Path("").c_str(), 1);
    std::filesystem::create_directory(folder_.Path(".passthru"));
  }
  void Register(const std::string& file, const std::string& content) {
    static_cast<void>(folder_.Write(".passthru/" + file, content));
  }
  PassThruSimulator simulator_{folder_};
};

TEST_F(Devices, AreListedWithTheBusThatReachesThem) {
  Register("bench.json", R"({"NAME":"Bench","VENDOR":"Nobody","FUNCTION_LIB":")" +
                             PassThruSimulator::Library(32) + "\"}");
  Register("damaged.json", "{");
  const ToolResult list = Run({"devices"});
  EXPECT_EQ(list.status, 0);
  EXPECT_THAT(list.out, HasSubstr("Bench, Nobody, " + PassThruSimulator::Library(32) +
                                  "\n  --bus j2534:Bench\n"));
  EXPECT_THAT(list.err, HasSubstr("quillmark: warning: "));
  EXPECT_THAT(list.err, HasSubstr("damaged.json: expected a JSON object"));
  const ToolResult identified = Run({"identify", "--bus", "j2534:Bench", "--p2", "5000"});
  EXPECT_EQ(identified.status, 0) << identified.err;
  EXPECT_THAT(identified.out, HasSubstr("adapter   firmware 1.0 simulated, library 1.0, API 04.04\n"
                                        "identification  SIMULATED ECU"));
}

TEST_F(Devices, AreQuotedForTheShellWhereTheirNamesNeedIt) {
  Register("bench.json", R"({"NAME":"Bob's $HOME","VENDOR":"v","FUNCTION_LIB":"/opt/b.so"})");
  EXPECT_THAT(Run({"devices"}).out, HasSubstr(R"(  --bus 'j2534:Bob'\''s $HOME')"));
}

TEST_F(Devices, AreWarnedOfInOneLine) {
  Register("a\nquillmark: all is well.json", "{");
  EXPECT_THAT(Run({"devices"}).err, HasSubstr("a\\u000aquillmark: all is well.json: expected"));
}

TEST_F(Devices, AreEventsForMachines) {
  Register("bench.json", R"({"NAME":"Bench","VENDOR":"Nobody","FUNCTION_LIB":"/opt/b.so"})");
  const std::string out = Run({"devices", "--json"}).out;
  EXPECT_EQ(nlohmann::json::parse(out.substr(0, out.find('\n'))),
            (nlohmann::json{{"event", "device"},
                            {"kind", "pass-thru"},
                            {"description", "Bench, Nobody, /opt/b.so"},
                            {"buses", {"j2534:Bench"}}}));
}

TEST_F(Devices, OfAnotherNameAreNotOpened) {
  const ToolResult result = Run({"identify", "--bus", "j2534:Bench"});
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.err, HasSubstr("there is no pass-thru adapter \"Bench\" in "));
}

}  // namespace
}  // namespace quillmark::host::testing
