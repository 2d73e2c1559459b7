// SPDX-License-Identifier: MIT
// The tool in one process, the simulated ECU in another, and a real terminal between them.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>

#include "support/file_limit.h"
#include "tests/host/tool/flash_faults.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::size_t kBase = 0x1000;

class TwoProcesses : public ToolTest {
 protected:
  /// Starts a simulator whose memory lies in the file "memory".
  void Simulate(const std::string& bus, const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments{"simulate", "--bus",  bus,      "--memory",
                                       Memory(),   "--size", "0x10000"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    simulator_.emplace(arguments, "/dev/null", folder_.Path("simulator-errors"));
    ASSERT_TRUE(simulator_->ReadUntil("\ntry"));
    const std::string label = "device    ";
    const std::string& out = simulator_->output();
    device_ = out.substr(label.size(), out.find('\n') - label.size());
  }

  void StopSimulator(int signal = SIGINT) {
    simulator_->Signal(signal);
    EXPECT_EQ(simulator_->Wait(), 0);
    simulator_.reset();
  }

  std::string Memory() { return folder_.Path("memory"); }

  /// What the simulator kept of its flash, once it has ended.
  std::string Kept(std::size_t size) { return folder_.Read("memory").substr(kBase, size); }

  /// A command line that is patient, since the machine may be busy elsewhere.
  std::vector<std::string> FlashCommand(const std::string& image, const std::string& bus,
                                        const std::vector<std::string>& options = {},
                                        const std::string& p2 = "5000") {
    std::vector<std::string> arguments{"flash",  folder_.Write("image.bin", image),
                                       "--base", std::to_string(kBase),
                                       "--bus",  bus,
                                       "--p2",   p2,
                                       "--yes"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
  }

  std::optional<ToolProcess> simulator_;
  std::string device_;
};

TEST_F(TwoProcesses, FlashTensOfKilobytesOverSlcan) {
  const std::string image = Pattern(20'000);
  Simulate("slcan", {"--flow-control", "0", "0"});
  const ToolResult result =
      Run(FlashCommand(image, "slcan:" + device_, {"--verify", "--flow-control", "0", "0"}));
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("verify    20,000 bytes read back and found equal\n"));
  StopSimulator();
  EXPECT_EQ(Kept(image.size()), image);
}

TEST_F(TwoProcesses, FlashTwoKilobytesOverAKLine) {
  const std::string image = Pattern(2048);
  Simulate("kline");
  const ToolResult result =
      Run(FlashCommand(image, "kline:" + device_ + "?p1=5000&p3=0&p4=0", {"--verify"}));
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("verify    2,048 bytes read back and found equal\n"));
  StopSimulator(SIGTERM);
  EXPECT_EQ(Kept(image.size()), image);
}

TEST_F(TwoProcesses, FlashOnceWrittenMemoryOverSlcanThatLosesFrames) {
  const std::string image = Pattern(2000);
  Simulate("slcan", {"--fault", "lose-every@500", "--fault", "write-once"});
  const ToolResult result = Run(FlashCommand(image, "slcan:" + device_, {"--verify"}, "1500"));
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("verify    2,000 bytes read back and found equal\n"));
  StopSimulator();
  EXPECT_EQ(Kept(image.size()), image);
}

/// A message of a K line is as long as a dozen CAN frames, so fewer of them make a flash.
TEST_F(TwoProcesses, FlashOnceWrittenMemoryOverAKLineThatLosesMessages) {
  const std::string image = Pattern(500);
  Simulate("kline", {"--fault", "lose-every@50", "--fault", "write-once", "--bitrate", "115200"});
  const ToolResult result =
      Run(FlashCommand(image, "kline:" + device_ + "?baud=115200&p1=500&p3=0&p4=0",
                       {"--verify", "--block", "16"}, "1500"));
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("verify    500 bytes read back and found equal\n"));
  StopSimulator();
  EXPECT_EQ(Kept(image.size()), image);
}

TEST_F(TwoProcesses, AgreeOnTheFlowControlThatTheEcuAsksFor) {
  const std::string image = Pattern(300);
  Simulate("slcan", {"--flow-control", "8", "5"});
  const std::string bus = "slcan:" + device_;
  const ToolResult fixed = Run(FlashCommand(image, bus, {"--flow-control", "1", "0"}));
  EXPECT_EQ(fixed.status, 76) << fixed.err;
  EXPECT_THAT(fixed.err, HasSubstr("the ECU asks for block size 8, separation time 5 ms: "
                                   "--flow-control 8 5\n"));
  EXPECT_EQ(Run(FlashCommand(image, bus)).status, 0) << "the default";
  const ToolResult agreed =
      Run({"flash", "--bus", bus, "--flow-control", "auto", folder_.Path("image.bin"), "--base",
           "0x1000", "--yes", "--verify", "--p2", "5000"});
  EXPECT_EQ(agreed.status, 0) << agreed.err;
}

TEST_F(TwoProcesses, KeepTheMemoryFromRunToRun) {
  const std::string image = Pattern(100);
  Simulate("slcan", {"--ids", "0x18DAF110", "0x18DA10F1"});
  const std::vector<std::string> identifiers{"--ids", "0x18DAF110", "0x18DA10F1"};
  ASSERT_EQ(Run(FlashCommand(image, "slcan:" + device_, identifiers)).status, 0);
  StopSimulator();
  Simulate("slcan");
  const ToolResult read = Run({"read", "--range", "0x1000:100", "-o", folder_.Path("read.bin"),
                               "--bus", "slcan:" + device_, "--p2", "5000"});
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(folder_.Read("read.bin"), image);
}

/// What a simulator is told of its ECU, each a word that its client needs as well.
struct Peculiarity {
  const char* name;
  const char* bus;
  std::vector<std::string> options;

  friend void PrintTo(const Peculiarity& each, std::ostream* out) { *out << each.name; }
};

class Peculiar : public TwoProcesses, public ::testing::WithParamInterface<Peculiarity> {};

TEST_P(Peculiar, AreReachedByTheCommandThatTheSimulatorShows) {
  const Peculiarity& peculiarity = GetParam();
  Simulate(peculiarity.bus, peculiarity.options);
  ASSERT_TRUE(simulator_->ReadUntil("\ntry       quillmark "));
  std::istringstream words(simulator_->output().substr(simulator_->output().find(" flash IMAGE")));
  std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
  ASSERT_EQ(arguments.at(1), "IMAGE");
  arguments[1] = folder_.Write("a.s19", kTwoSegments);
  arguments.insert(arguments.end(), {"--p2", "5000"});
  const ToolResult result = Run(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
}

INSTANTIATE_TEST_SUITE_P(
    Simulators, Peculiar,
    ::testing::Values(Peculiarity{"Identifiers", "slcan", {"--ids", "0x18DAF110", "0x18DA10F1"}},
                      Peculiarity{"FlowControl", "slcan", {"--flow-control", "8", "2"}},
                      Peculiarity{"BitRate", "slcan", {"--bitrate", "250000"}},
                      Peculiarity{"Memory", "slcan", {"--rl", "0x81", "--routine", "7"}},
                      Peculiarity{"Address", "kline", {"--address", "0x33", "--bitrate", "9600"}}),
    [](const auto& test) { return test.param.name; });

TEST_F(TwoProcesses, SpeakAtTheSameBitRateOrNotAtAll) {
  Simulate("slcan", {"--bitrate", "250000"});
  EXPECT_EQ(Run({"identify", "--bus", "slcan:" + device_, "--p2", "300"}).status, 69);
  EXPECT_EQ(
      Run({"identify", "--bus", "slcan:" + device_ + "?bitrate=250000", "--p2", "5000"}).status, 0);
}

TEST_F(TwoProcesses, LockTheEcuAfterThreeWrongKeysAndNeverTryAgainByThemselves) {
  Simulate("slcan", {"--fault", "refuse-key"});
  std::vector<std::string> errors;
  for (int run = 0; run < 4; ++run) {
    const ToolResult result = Run(FlashCommand(Pattern(10), "slcan:" + device_));
    EXPECT_EQ(result.status, 76);
    errors.push_back(result.err);
  }
  EXPECT_THAT(errors[0], AllOf(HasSubstr("negative response 35, invalid key"),
                               HasSubstr("\nnext      find out the right key before another try")));
  EXPECT_THAT(errors[1], HasSubstr("negative response 35, invalid key"))
      << "one key a run, else this would be the third";
  EXPECT_THAT(errors[2],
              AllOf(HasSubstr("negative response 36, exceeded number of attempts"),
                    HasSubstr("\nnext      the ECU got too many wrong keys and has closed")));
  EXPECT_THAT(errors[3], AllOf(HasSubstr("negative response 37, required time delay not expired"),
                               HasSubstr("\nnext      the ECU still waits out its delay")));
}

struct Interruption {
  int signal;
  const char* name;
};

class Interrupted : public TwoProcesses, public ::testing::WithParamInterface<Interruption> {};

TEST_P(Interrupted, LeaveWordOfTheStateOfTheEcu) {
  const std::string image = Pattern(20'000);
  Simulate("slcan");
  ToolProcess flash(FlashCommand(image, "slcan:" + device_), "/dev/null", folder_.Path("stderr"));
  ASSERT_TRUE(flash.ReadUntil("download   10 %"));
  flash.Signal(GetParam().signal);
  EXPECT_EQ(flash.Wait(), 130);
  EXPECT_THAT(flash.output(), Not(HasSubstr("done")));
  EXPECT_THAT(
      folder_.Read("stderr"),
      AllOf(HasSubstr("quillmark: download at 0x00"), HasSubstr(": cancelled\n"),
            HasSubstr(" of 20000 bytes are written and confirmed: it holds no whole program; no "
                      "session is open\n"),
            HasSubstr("\nnext      keep the ECU powered and flash the whole image again")));
  StopSimulator();
  EXPECT_NE(Kept(image.size()), image);
}

INSTANTIATE_TEST_SUITE_P(Signals, Interrupted,
                         ::testing::Values(Interruption{SIGINT, "INT"},
                                           Interruption{SIGTERM, "TERM"}),
                         [](const auto& test) { return test.param.name; });

class Disturbed : public TwoProcesses {
 protected:
  /// Starts a flash of 20,000 bytes and returns in the middle of its download.
  void FlashHalf(const std::string& p2) {
    Simulate("slcan");
    flash_.emplace(FlashCommand(Pattern(20'000), "slcan:" + device_, {}, p2), "/dev/null",
                   folder_.Path("stderr"));
    ASSERT_TRUE(flash_->ReadUntil("download   10 %"));
  }

  void Suspend(std::chrono::milliseconds time) const {
    flash_->Signal(SIGSTOP);
    std::this_thread::sleep_for(time);
    flash_->Signal(SIGCONT);
  }

  std::optional<ToolProcess> flash_;
};

TEST_F(Disturbed, ByASuspensionShorterThanASessionLoseNothing) {
  // Shorter also than an ECU waits for the next frame of a message.
  FlashHalf("5000");
  Suspend(300ms);
  EXPECT_EQ(flash_->Wait(), 0) << folder_.Read("stderr");
  StopSimulator();
  EXPECT_EQ(Kept(20'000), Pattern(20'000));
}

TEST_F(Disturbed, ByASuspensionThatCostsTheSessionSaySo) {
  FlashHalf("5000");
  Suspend(6000ms);
  EXPECT_THAT(flash_->Wait(), AnyOf(69, 76));
  EXPECT_THAT(flash_->output(), AllOf(HasSubstr("suspended for 6."), Not(HasSubstr("done"))));
  EXPECT_THAT(folder_.Read("stderr"), HasSubstr("it holds no whole program"));
}

TEST_F(Disturbed, ForTheThirdTimeEndAtOnceAndSayWhatTheyLeave) {
  FlashHalf("60000");
  simulator_->Signal(SIGSTOP);
  InterruptThreeTimes(*flash_);
  EXPECT_EQ(flash_->Wait(), 1000 + SIGTERM);
  EXPECT_THAT(
      folder_.Read("stderr"),
      HasSubstr("\nquillmark: ended at once; the ECU's memory is erased and partly written; "
                "the session stays open until it ends by itself\n"));
  simulator_->Signal(SIGCONT);
}

/// A signal at moments spread over a whole flash. `tests/campaign/run --signals N` has N of them.
class SignalAtAnyMoment : public Interrupted {
 protected:
  static int CountMoments() {
    const char* const text = std::getenv("QUILLMARK_SIGNAL_MOMENTS");
    return text == nullptr ? 2 : std::atoi(text);
  }

  std::vector<std::string> Command() {
    return FlashCommand(image_, "slcan:" + device_, {"--verify"});
  }

  /// Flashes, and gets the signal after `time`. The status.
  int FlashUntil(std::chrono::nanoseconds time) {
    ToolProcess flash(Command(), "/dev/null", folder_.Path("stderr"));
    std::this_thread::sleep_for(time);
    flash.Signal(GetParam().signal);
    return flash.Wait();
  }

  void ExpectWholeFlash() {
    ToolProcess flash(Command(), "/dev/null", folder_.Path("stderr"));
    EXPECT_EQ(flash.Wait(), 0) << folder_.Read("stderr");
  }

  std::string image_ = Pattern(1'000);
};

TEST_P(SignalAtAnyMoment, LeavesAnEcuThatIsFlashedAgain) {
  using Clock = std::chrono::steady_clock;
  Simulate("slcan");
  const Clock::time_point start = Clock::now();
  ExpectWholeFlash();
  const Clock::duration whole = Clock::now() - start;
  for (int i = 0; i < CountMoments(); ++i) {
    const auto moment = whole * (2 * i + 1) / (2 * CountMoments());
    const int status = FlashUntil(moment);
    SCOPED_TRACE(std::chrono::duration<double>(moment).count());
    EXPECT_THAT(status, AnyOf(0, 130, 1000 + GetParam().signal)) << folder_.Read("stderr");
    ExpectWholeFlash();
  }
  StopSimulator();
  EXPECT_EQ(Kept(image_.size()), image_);
}

INSTANTIATE_TEST_SUITE_P(Signals, SignalAtAnyMoment,
                         ::testing::Values(Interruption{SIGINT, "INT"},
                                           Interruption{SIGTERM, "TERM"},
                                           Interruption{SIGHUP, "HUP"},
                                           Interruption{SIGKILL, "KILL"}),
                         [](const auto& test) { return test.param.name; });

class Faulty : public TwoProcesses, public ::testing::WithParamInterface<Fault> {};

TEST_P(Faulty, EndWithMessageStateAndAdviceAndNeverWithAFalseSuccess) {
  const Fault& fault = GetParam();
  const std::string image = Pattern(300);
  Simulate("slcan", {"--fault", fault.fault});
  std::vector<std::string> options = fault.options;
  options.insert(options.end(), {"--verify", "--repeat", "0"});
  const ToolResult result = Run(FlashCommand(image, "slcan:" + device_, options, fault.p2));
  EXPECT_EQ(result.status, fault.status);
  EXPECT_THAT(result.out, Not(HasSubstr("done")));
  EXPECT_THAT(result.err, AllOf(HasSubstr(fault.message), HasSubstr("\nstep      download"),
                                HasSubstr(fault.state), HasSubstr("\nnext      ")));
  if (std::string(fault.name) != "Unplugged") {
    simulator_->Signal(SIGINT);
  }
  EXPECT_EQ(simulator_->Wait(), 0);
  simulator_.reset();
  EXPECT_NE(Kept(image.size()), image);
}

INSTANTIATE_TEST_SUITE_P(Faults, Faulty, ::testing::ValuesIn(kFlashFaults),
                         [](const auto& test) { return test.param.name; });

TEST_F(TwoProcesses, WaitForAnEcuThatIsPending) {
  Simulate("slcan", {"--fault", "pending@0x34:2"});
  const ToolResult result = Run(FlashCommand(Pattern(10), "slcan:" + device_, {"--verify"}));
  EXPECT_EQ(result.status, 0) << result.err;
}

class TargetUri : public ToolTest {};

TEST_F(TargetUri, OfADeviceThatIsNotThere) {
  const ToolResult result = Run({"identify", "--bus", "slcan:/dev/none"});
  EXPECT_EQ(result.status, 74);
  EXPECT_EQ(result.err,
            "quillmark: /dev/none cannot be opened: No such file or directory\n"
            "next      look at the adapter, its cable, the name of the device, and whether you may "
            "use it\n");
}

TEST_F(TargetUri, DecidesOnTheForm) {
  const ToolResult gateway = Run({"identify", "--form", "gateway", "--bus", "slcan:/dev/none"});
  EXPECT_EQ(gateway.status, 64);
  EXPECT_THAT(gateway.err,
              HasSubstr("--form: the gateway form runs on the simulator only, --bus sim:"));
  const ToolResult k_line = Run({"identify", "--form", "can", "--bus", "kline:/dev/none"});
  EXPECT_EQ(k_line.status, 64);
  EXPECT_THAT(k_line.err, HasSubstr("--form: this bus carries the form kline alone"));
  const ToolResult can = Run({"identify", "--form", "kline", "--bus", "socketcan:can0"});
  EXPECT_EQ(can.status, 64);
  EXPECT_THAT(can.err, HasSubstr("--form: this bus carries the form can alone"));
}

TEST_F(TargetUri, OfAnAdapterTakesNoOptionOfTheSimulator) {
  EXPECT_THAT(Run({"identify", "--bus", "slcan:/dev/none", "--fault", "silent"}).err,
              HasSubstr("--fault: only for --bus sim: and for quillmark simulate"));
  EXPECT_THAT(Run({"identify", "--bus", "slcan:/dev/none", "--bitrate", "1"}).err,
              HasSubstr("--bitrate: only for --bus sim:"));
}

using SimulateCommand = ToolTest;

TEST_F(SimulateCommand, NamesTheMemoryFileThatItCannotWrite) {
  ToolResult result;
  {
    const quillmark::testing::FileLimit limit(1000);
    result = Run({"simulate", "--bus", "slcan", "--memory", folder_.Path("memory")});
  }
  EXPECT_EQ(result.status, 74);
  EXPECT_EQ(result.out, "");
  // A build that counts coverage cannot write its counters either, and says so last.
  EXPECT_THAT(result.err,
              ::testing::StartsWith("quillmark: " + folder_.Path("memory") +
                                    ": cannot write: File too large\n"
                                    "next      make room on the disk, or name a file elsewhere\n"));
  EXPECT_EQ(folder_.Entries(), 2);  // stdin and stderr
}

TEST_F(SimulateCommand, TakesNoMemoryOfAnotherSize) {
  for (const std::string& content : {std::string("short"), std::string(0x10001, 'x')}) {
    const ToolResult result = Run({"simulate", "--bus", "slcan", "--size", "0x10000", "--memory",
                                   folder_.Write("memory", content)});
    EXPECT_EQ(result.status, 66);
    EXPECT_THAT(result.err, AllOf(HasSubstr("memory: expected a memory of 65,536 bytes, found "),
                                  HasSubstr("next      give the size of the file with --size")));
  }
  EXPECT_EQ(Run({"simulate", "--bus", "slcan", "--memory", "/dev/zero"}).status, 66);
  EXPECT_THAT(Run({"simulate", "--bus", "slcan", "--memory", folder_.Path("")}).err,
              HasSubstr("is a directory"));
}

}  // namespace
}  // namespace quillmark::host::testing
