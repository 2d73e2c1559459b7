// SPDX-License-Identifier: MIT
// flash --job: several ECUs at once, each on a bus of its own.
#include <gmock/gmock.h>

#include <csignal>
#include <list>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/host/tool/images.h"
#include "tests/host/tool/process_end.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

using Bays = std::vector<json>;

constexpr std::size_t kImageBase = 0x1000;

/// A bay of a job with these members.
json Bay(const std::string& name, const json& members = json::object()) {
  json bay = {{"bay", name}};
  bay.update(members);
  return bay;
}

class JobTest : public ToolTest {
 protected:
  /// Starts a simulator whose memory lies in the file NAME, and returns its bus.
  std::string Simulate(const std::string& name, const std::string& bus,
                       const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments{"simulate",   "--bus",  bus,       "--memory",
                                       Memory(name), "--size", "0x10000", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    ToolProcess& simulator =
        simulators_.emplace_back(arguments, "/dev/null", folder_.Path(name + "-errors"));
    EXPECT_TRUE(simulator.ReadUntil("\n"));
    return json::parse(simulator.output()).at("bus").get<std::string>();
  }

  void StopSimulators() {
    for (ToolProcess& simulator : simulators_) {
      simulator.Signal(SIGINT);
      EXPECT_EQ(simulator.Wait(), 0);
    }
    simulators_.clear();
  }

  std::string Memory(const std::string& name) { return folder_.Path(name); }
  std::string Kept(const std::string& name, std::size_t size) {
    return folder_.Read(name).substr(kImageBase, size);
  }

  /// A job of these bays with an image of `size` bytes, patient since the machine may be busy.
  std::string Job(const Bays& bays, std::size_t size = 300) {
    static_cast<void>(folder_.Write("image.bin", Pattern(size)));
    json job = {{"bays", bays}};
    job["defaults"]["images"][0] = {{"file", "image.bin"}, {"base", kImageBase}};
    job["defaults"]["p2"] = 5000;
    return folder_.Write("job.json", job.dump());
  }

  std::vector<std::string> FlashJob(const Bays& bays, std::size_t size = 300) {
    return {"flash", "--job", Job(bays, size), "--yes", "--artifacts", folder_.Path("runs")};
  }

  std::string OutcomeOf(const std::string& bay) {
    return json::parse(folder_.Read("runs/" + bay + "/result.json")).at("outcome");
  }

  std::list<ToolProcess> simulators_;
};

std::string KLine(const std::string& bus) { return bus + "?p1=5000&p3=0&p4=0"; }

/// What becomes of one bay while the others go on.
struct Trouble {
  const char* name;
  std::vector<std::string> simulator;
  json bay;
  int status;
  const char* message;

  friend void PrintTo(const Trouble& each, std::ostream* out) { *out << each.name; }
};

class JobOfThreeForms : public JobTest, public ::testing::WithParamInterface<Trouble> {};

TEST_P(JobOfThreeForms, HoldsUpNoBayForAnother) {
  const Trouble& trouble = GetParam();
  json members = {{"bus", Simulate("troubled", "slcan", trouble.simulator)}};
  members.update(trouble.bay);
  const Bays bays{Bay("troubled", members),
                  Bay("k-line", {{"bus", KLine(Simulate("k-line", "kline"))}}),
                  Bay("gateway", {{"form", "gateway"}, {"verify", true}})};
  const ToolResult result = Run(FlashJob(bays));
  EXPECT_EQ(result.status, trouble.status) << result.out << result.err;
  EXPECT_THAT(result.err, HasSubstr(trouble.message));
  EXPECT_THAT(result.out, AllOf(HasSubstr("\nk-line    done      in "),
                                HasSubstr("\ngateway   verify    300 bytes read back and found ")));
  EXPECT_EQ(OutcomeOf("troubled"), trouble.status == 0 ? "done" : "failed");
  EXPECT_EQ(OutcomeOf("k-line"), "done");
  EXPECT_EQ(OutcomeOf("gateway"), "done");
  if (std::string(trouble.name) == "Pulled") {
    EXPECT_EQ(simulators_.front().Wait(), 0);
    simulators_.pop_front();
  }
  StopSimulators();
  EXPECT_EQ(Kept("k-line", 300), Pattern(300));
  EXPECT_EQ(Kept("troubled", 300) == Pattern(300), trouble.status == 0);
}

INSTANTIATE_TEST_SUITE_P(
    Troubles, JobOfThreeForms,
    ::testing::Values(
        Trouble{"None", {}, json::object(), 0, ""},
        Trouble{"LostFrames", {"--fault", "lose-every@400"}, {{"p2", 1500}}, 0, ""},
        Trouble{"Hanging",
                {"--fault", "silent@220"},
                {{"p2", 1000}, {"repeat", 0}},
                69,
                "quillmark: troubled: download at 0x001080: the ECU does not answer"},
        Trouble{"SlowKey",
                {},
                {{"key-command", "sleep 600;"}, {"key-timeout", 3000}},
                69,
                "did not end within 3000 ms\ntroubled  step      unlock"},
        Trouble{"WrongEcu",
                {},
                {{"expect-ecu", "ANOTHER"}},
                69,
                "quillmark: troubled: expected the ECU ANOTHER, found SIMULATED ECU 001 REV A"},
        Trouble{"Pulled", {"--fault", "unplug@220"}, json::object(), 74, " is gone: "}),
    [](const auto& test) { return test.param.name; });

TEST_F(JobTest, EndsTheOthersWhileAKeyIsComputed) {
  const Bays bays{Bay("slow", {{"key-command", "until test -e " + folder_.Path("go") +
                                                   "; do sleep 0.05; done; exit 7;"}}),
                  Bay("quick")};
  ToolProcess process(FlashJob(bays), "/dev/null", folder_.Path("stderr"));
  ASSERT_TRUE(process.ReadUntil("quick  done      in "));
  EXPECT_EQ(folder_.Read("stderr"), "");
  static_cast<void>(folder_.Write("go", ""));
  EXPECT_EQ(process.Wait(), 69);
  EXPECT_THAT(folder_.Read("stderr"), AllOf(HasSubstr("quillmark: slow: "),
                                            HasSubstr("quillmark: 1 of 2 bays not done: slow\n")));
}

TEST_F(JobTest, StopsEveryBayAtItsSafePoint) {
  const Bays bays{Bay("a", {{"bus", Simulate("a", "slcan")}}),
                  Bay("b", {{"bus", Simulate("b", "slcan")}}),
                  Bay("c", {{"key-command", "sleep 600 & echo $! >" + folder_.Path("pid") +
                                                "; echo started >&2; wait #"}})};
  ToolProcess process(FlashJob(bays, 20'000), "/dev/null", folder_.Path("stderr"));
  ASSERT_TRUE(process.ReadUntil("c  key       started"));
  ASSERT_TRUE(process.ReadUntil("a  download   10 %"));
  ASSERT_TRUE(process.ReadUntil("b  download   10 %"));
  process.Signal(SIGINT);
  EXPECT_EQ(process.Wait(), 130);
  EXPECT_THAT(process.output(), Not(HasSubstr("done  ")));
  for (const char* const bay : {"a", "b", "c"}) {
    EXPECT_EQ(OutcomeOf(bay), "cancelled");
    EXPECT_THAT(folder_.Read(std::string("runs/") + bay + "/result.json"),
                HasSubstr("no session is open"));
  }
  EXPECT_THAT(folder_.Read("stderr"), HasSubstr("quillmark: 3 of 3 bays not done: a, b, c\n"));
  ExpectEndOfProcess(std::stoi(folder_.Read("pid")));
  StopSimulators();
}

TEST_F(JobTest, EndsAtOnceAtTheThirdSignalWithAllKeyCommands) {
  const auto key = [this](const std::string& name) {
    return "trap '' TERM; echo $$ >" + folder_.Path(name) +
           "; echo started >&2; sleep 600 & wait #";
  };
  const Bays bays{Bay("a", {{"key-command", key("pid-a")}}),
                  Bay("b", {{"key-command", key("pid-b")}})};
  ToolProcess process(FlashJob(bays), "/dev/null", folder_.Path("stderr"));
  ASSERT_TRUE(process.ReadUntil("a  key       started"));
  ASSERT_TRUE(process.ReadUntil("b  key       started"));
  InterruptThreeTimes(process);
  EXPECT_EQ(process.Wait(), 1000 + SIGTERM);
  EXPECT_THAT(folder_.Read("stderr"), HasSubstr("ended at once; nothing was erased or written"));
  ExpectEndOfProcess(std::stoi(folder_.Read("pid-a")));
  ExpectEndOfProcess(std::stoi(folder_.Read("pid-b")));
}

TEST_F(JobTest, EndsAsTheBayThatIsWorstOff) {
  const Bays bays{Bay("silent", {{"fault", Bays{"silent"}}, {"p2", 100}}),
                  Bay("refusing", {{"fault", Bays{"negative@0x34:0x72"}}}), Bay("good")};
  const ToolResult result = Run(FlashJob(bays));
  EXPECT_EQ(result.status, 76);
  EXPECT_THAT(result.err, HasSubstr("quillmark: 2 of 3 bays not done: silent, refusing\n"));
}

TEST_F(JobTest, NamesTheBayInEveryEventAndRecord) {
  std::vector<std::string> arguments =
      FlashJob({Bay("a"), Bay("b", {{"fault", Bays{"refuse-key"}}})});
  arguments.emplace_back("--json");
  const ToolResult result = Run(arguments);
  EXPECT_EQ(result.status, 76);
  std::istringstream lines(result.out);
  std::map<std::string, std::vector<std::string>> events;
  for (std::string line; std::getline(lines, line);) {
    const json event = json::parse(line);
    events[event.value("bay", "")].push_back(event.at("event"));
  }
  EXPECT_EQ(events["a"].back(), "done");
  EXPECT_EQ(events["b"].back(), "error");
  EXPECT_EQ(events[""], std::vector<std::string>{"error"}) << "that of the job";
  const ToolResult history = Run({"history", "--json"});
  EXPECT_THAT(history.out, AllOf(HasSubstr("\"bay\":\"a\""), HasSubstr("\"bay\":\"b\"")));
}

class JobOnATerminal : public JobTest {
 protected:
  ToolProcess Flash() {
    const Bays bays{Bay("left"), Bay("right", {{"rl", "0x12"}})};
    return {{"flash", "--job", Job(bays)}, "", "", ToolProcess::Output::kWholeTerminal};
  }
};

TEST_F(JobOnATerminal, AsksOnceForAll) {
  ToolProcess process = Flash();
  ASSERT_TRUE(process.ReadUntil("erase and write? [y/N] "));
  EXPECT_THAT(process.output(),
              AllOf(HasSubstr("left  erase memory 00 of SIMULATED ECU 001 REV A"),
                    HasSubstr("left  and write 300 bytes into 001000 to 00112B"),
                    HasSubstr("right  erase memory 12 of SIMULATED ECU 001 REV A")));
  process.Write("y\n");
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_THAT(process.output(),
              AllOf(HasSubstr("left   [####################] 100 %  done"),
                    HasSubstr("right  [####################] 100 %  done"),
                    HasSubstr("right  300 bytes written into SIMULATED ECU 001 REV A, checked")));
}

TEST_F(JobOnATerminal, LeavesAllAloneAfterANo) {
  ToolProcess process = Flash();
  ASSERT_TRUE(process.ReadUntil("erase and write? [y/N] "));
  process.Write("n\n");
  EXPECT_EQ(process.Wait(), 130);
  EXPECT_THAT(process.output(), AllOf(HasSubstr("quillmark: left: identify: not confirmed"),
                                      HasSubstr("quillmark: right: identify: not confirmed")));
}

/// An image that no default replaces.
json ImageOnly(const std::string& file) {
  return {{"images", Bays{json::object({{"file", file}})}}};
}

/// What is found before anything is sent: an adapter that is not there would give 74.
class RefusedJob : public JobTest {
 protected:
  void ExpectRefused(const std::vector<std::string>& arguments, int status,
                     const std::string& message) {
    const ToolResult result = Run(arguments);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(HasSubstr(message), HasSubstr("\nnext      ")));
    EXPECT_FALSE(std::filesystem::exists(folder_.Path("runs")));
  }
};

TEST_F(RefusedJob, WithoutYesAndATerminal) {
  ExpectRefused({"flash", "--job", Job({Bay("a")})}, 64, "expected --yes where no terminal");
}

TEST_F(RefusedJob, WhoseImageIsMissing) {
  ExpectRefused(FlashJob({Bay("a", {{"bus", "slcan:/dev/none"}}), Bay("b", ImageOnly("none.hex"))}),
                66, "quillmark: bay b: " + folder_.Path("none.hex"));
}

TEST_F(RefusedJob, WhoseImageIsDamaged) {
  static_cast<void>(folder_.Write("bad.hex", ":0100000001FF\n"));
  ExpectRefused(FlashJob({Bay("a", {{"bus", "slcan:/dev/none"}}), Bay("b", ImageOnly("bad.hex"))}),
                65, "quillmark: bay b: " + folder_.Path("bad.hex"));
}

TEST_F(RefusedJob, WithOneBusUnderTwoNames) {
  static_cast<void>(folder_.Write("tty", ""));
  std::filesystem::create_symlink(folder_.Path("tty"), folder_.Path("link"));
  ExpectRefused(FlashJob({Bay("a", {{"bus", "slcan:" + folder_.Path("tty")}}),
                          Bay("b", {{"bus", "slcan:" + folder_.Path("link")}})}),
                65, "bay b: expected a bus of its own, found slcan:");
}

TEST_F(RefusedJob, WithOneBackupOfTwoBays) {
  ExpectRefused(FlashJob({Bay("a", {{"backup", "old.hex"}}), Bay("b", {{"backup", "./old.hex"}})}),
                73, "backup of bay a and backup of bay b are the same file");
}

TEST_F(RefusedJob, WithAFolderThatHoldsSomething) {
  std::filesystem::create_directories(folder_.Path("kept/b"));
  static_cast<void>(folder_.Write("kept/b/notes", ""));
  ExpectRefused(
      {"flash", "--job", Job({Bay("a"), Bay("b")}), "--yes", "--artifacts", folder_.Path("kept")},
      73, "kept/b: expected a new or an empty folder");
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("kept/a")));
}

TEST_F(RefusedJob, WithOptionsOfOneEcu) {
  const std::string job = Job({Bay("a")});
  ExpectRefused({"flash", "--job", job, "--yes", "--p2", "1"}, 64, "--p2: not with --job");
  ExpectRefused({"flash", "--job", job, "--yes", folder_.Path("image.bin")}, 64,
                "IMAGE: not with --job");
}

TEST_F(RefusedJob, ThatCannotBeReadOrHasNoEnd) {
  ExpectRefused({"flash", "--yes", "--job", folder_.Path("none")}, 66, "none: ");
  ExpectRefused({"flash", "--yes", "--job", "/dev/zero"}, 66, "/dev/zero: ");
}

TEST_F(RefusedJob, NamesTheFileAndThePlaceInIt) {
  ExpectRefused(FlashJob({Bay("a", {{"bus", "slcan:/dev/none"}}), Bay("b", {{"p2", 0}})}), 65,
                "job.json: $.bays[1].p2: expected a number from 1 to 600000, found \"0\"");
  static_cast<void>(folder_.Write("a.profile", "repeat = 1000\n"));
  ExpectRefused(FlashJob({Bay("a", {{"profile", "./a.profile"}})}), 65,
                "a.profile:1: --repeat: expected a number from 0 to 100");
}

TEST_F(JobTest, TakesImagesAndProfilesBesideItsFile) {
  static_cast<void>(folder_.Write("a.profile", "rl = 0x12\n"));
  const ToolResult result = Run(FlashJob({Bay("a", {{"profile", "./a.profile"}})}));
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("a  about to  erase memory 12 of "));
}

}  // namespace
}  // namespace quillmark::host::testing
