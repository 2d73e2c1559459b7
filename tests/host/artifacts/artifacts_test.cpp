// SPDX-License-Identifier: MIT
#include "quillmark/host/artifacts.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/report/page_data.h"
#include "quillmark/host/report.h"

namespace quillmark::host::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kPlan =
    R"({"command":"flash","started":"now","form":"can","bit_rate":500000,"receive":1850,)"
    R"("send":1586,"image":{"files":["a.s19"],"format":"S","bytes":4,"segments":[[4096,4]]},)"
    R"("memory":0,"fill":255,"blocks":[[4096,2],[4098,2]],"verify":true})"
    "\n";
constexpr const char* kResult =
    R"({"outcome":"failed","exit":76,"message":"no","ecu":"X","sent_bytes":4,"seconds":0.5,)"
    R"("adapter":{"firmware":"1.2","library":"3","api":"04.04"},"battery_millivolts":12600,)"
    R"("phases":[{"phase":"erase","began":0.25,"ended":0.5}]})"
    "\n";
constexpr const char* kLog =
    R"({"event":"image","at":0.0,"file":"a.s19","bytes":4})"
    "\n"
    R"({"event":"adapter","at":0.0,"firmware":"1.2","library":"3","api":"04.04"})"
    "\n"
    R"({"event":"battery","at":0.1,"millivolts":12600})"
    "\n"
    R"({"event":"progress","phase":"erase","bytes":0,"total":0,"seconds":0.25})"
    "\n"
    R"({"event":"document","at":0.5,"phase":"erase","complete":true})"
    "\n"
    R"({"event":"progress","phase":"download","bytes":2,"total":4,"seconds":0.75})"
    "\n"
    R"({"event":"about-to-erase","at":1,"ecu":"Y"})"
    "\n";
constexpr const char* kTrace = "(5.0) can0 632#013E\n(5.1) can0 73A#017E\n";

class ReadArtifactsTest : public ::testing::Test {
 protected:
  Artifacts Read() {
    std::istringstream trace(trace_);
    files_.trace = &trace;
    return ReadArtifacts(files_);
  }

  std::string Refusal() {
    try {
      static_cast<void>(Read());
      return "none";
    } catch (const DamagedArtifacts& error) {
      return error.what();
    }
  }

  std::string RefusalOfPlan(const std::string& members) {
    files_.plan = '{' + members + '}';
    return Refusal();
  }

  std::string RefusalOfResult(const std::string& members) {
    files_.result = '{' + members + '}';
    return Refusal();
  }

  ArtifactFiles files_{.plan = kPlan, .result = kResult, .log = kLog};
  std::string trace_ = kTrace;
};

void ExpectTheAdapter(const CommandResult& result) {
  EXPECT_EQ(result.adapter.firmware, "1.2");
  EXPECT_EQ(result.adapter.library, "3");
  EXPECT_EQ(result.adapter.api, "04.04");
  EXPECT_EQ(result.battery_millivolts, 12'600);
}

TEST_F(ReadArtifactsTest, TakesEverythingThatTheFilesSay) {
  const Artifacts artifacts = Read();
  EXPECT_THAT(artifacts.warnings, IsEmpty());
  const CommandPlan& plan = artifacts.plan;
  EXPECT_EQ(plan.command, PlannedCommand::kFlash);
  EXPECT_EQ(plan.form, TransportForm::kPlainCan);
  EXPECT_EQ(plan.bit_rate, 500'000);
  EXPECT_EQ(plan.image_files, std::vector<std::string>{"a.s19"});
  EXPECT_THAT(plan.segments, ElementsAre(AddressRange{4096, 4}));
  EXPECT_THAT(plan.blocks, ElementsAre(AddressRange{4096, 2}, AddressRange{4098, 2}));
  const CommandResult& result = artifacts.result;
  EXPECT_EQ(result.state, OutcomeState::kFailed);
  EXPECT_EQ(result.message, "no");
  ExpectTheAdapter(result);
  EXPECT_EQ(result.time, std::chrono::milliseconds(500));
  EXPECT_THAT(result.phases, ElementsAre(PhaseTimes{"erase", std::chrono::milliseconds(250),
                                                    std::chrono::milliseconds(500)}));
  EXPECT_EQ(artifacts.trace.entries.size(), 2U);
}

TEST_F(ReadArtifactsTest, RefusesNumbersOutOfTheirRange) {
  EXPECT_EQ(RefusalOfPlan(R"("blocks":[[-1,2]])"),
            "plan.json: blocks[0][0]: expected a number from 0 to 16777215, found -1");
  EXPECT_EQ(RefusalOfPlan(R"("blocks":[[0,1],[16777215,2]])"),
            "plan.json: blocks[1][1]: expected a number from 0 to 1, found 2");
  EXPECT_EQ(RefusalOfPlan(R"("ranges":[[18446744073709551615,1]])"),
            "plan.json: ranges[0][0]: expected a number from 0 to 16777215, found "
            "18446744073709551615");
  EXPECT_EQ(RefusalOfPlan(R"("image":{"segments":[[0,1e300]]})"),
            "plan.json: image.segments[0][1]: expected a number from 0 to 16777216, found 1e+300");
  EXPECT_EQ(RefusalOfPlan(R"("fill":256)"),
            "plan.json: fill: expected a number from 0 to 255, found 256");
  EXPECT_EQ(RefusalOfPlan(R"("bit_rate":0)"),
            "plan.json: bit_rate: expected a number from 1 to 100000000, found 0");
  EXPECT_EQ(RefusalOfPlan(R"("receive":1.5)"),
            "plan.json: receive: expected a number from 0 to 536870911, found 1.5");
  files_.plan = kPlan;
  EXPECT_EQ(RefusalOfResult(R"("phases":[{"phase":"a","began":-1}])"),
            "result.json: phases[0].began: expected seconds from 0 to 1000000000, found -1");
  EXPECT_EQ(RefusalOfResult(R"("seconds":1e10)"),
            "result.json: seconds: expected seconds from 0 to 1000000000, found 10000000000.0");
  EXPECT_EQ(RefusalOfResult(R"("verified_bytes":-4)"),
            "result.json: verified_bytes: expected a number from 0 to 67108864, found -4");
  files_.result = kResult;
  files_.log = "{\"event\":\"x\",\"at\":0}\n{\"event\":\"x\",\"at\":-1}\n";
  EXPECT_EQ(Refusal(), "log.jsonl: line 2: at: expected seconds from 0 to 1000000000, found -1");
}

TEST_F(ReadArtifactsTest, RefusesValuesOfAnotherType) {
  EXPECT_EQ(RefusalOfPlan(R"("command":7)"), "plan.json: command: expected a text, found 7");
  EXPECT_EQ(RefusalOfPlan(R"("command":"erase")"),
            "plan.json: command: expected flash or verify or read, found \"erase\"");
  EXPECT_EQ(RefusalOfPlan(R"("form":"lin")"),
            "plan.json: form: expected can or gateway or kline, found \"lin\"");
  EXPECT_EQ(RefusalOfPlan(R"("blocks":{})"), "plan.json: blocks: expected a list, found an object");
  EXPECT_EQ(RefusalOfPlan(R"("image":[])"), "plan.json: image: expected an object, found a list");
  files_.plan = kPlan;
  EXPECT_EQ(RefusalOfResult(R"("outcome":"perfect")"),
            "result.json: outcome: expected done or failed or cancelled or unfinished, found "
            "\"perfect\"");
  EXPECT_EQ(RefusalOfResult(R"("message":null)"),
            "result.json: message: expected a text, found null");
  EXPECT_LT(RefusalOfResult(R"("outcome":")" + std::string(1000, 'x') + '"').size(), 150U);
  files_.result = "[]";
  EXPECT_EQ(Refusal(), "result.json: expected an object in JSON, found something else");
  files_.result = "no JSON";
  EXPECT_EQ(Refusal(), "result.json: expected an object in JSON, found something else");
}

TEST_F(ReadArtifactsTest, TakesEachFileAsFarAsItGoes) {
  const std::string plan = kPlan;
  const std::string result = kResult;
  const std::string log = kLog;
  for (std::size_t size = 0; size < plan.size() - 2; ++size) {
    files_.plan = plan.substr(0, size);
    const Artifacts artifacts = Read();
    ASSERT_THAT(artifacts.warnings, ElementsAre(HasSubstr("plan.json is cut off or damaged")))
        << size;
    ASSERT_LE(artifacts.plan.blocks.size(), 2U);
  }
  files_.plan = plan;
  for (std::size_t size = 0; size < result.size() - 2; ++size) {
    files_.result = result.substr(0, size);
    const Artifacts artifacts = Read();
    ASSERT_THAT(artifacts.warnings, ElementsAre(HasSubstr("result.json is cut off or damaged")));
    ASSERT_NE(artifacts.result.state, OutcomeState::kDone);
  }
  files_.result = result;
  for (std::size_t size = 0; size < log.size(); ++size) {
    files_.log = log.substr(0, size);
    ASSERT_LE(Read().warnings.size(), 1U);
  }
  files_.log = log;
  const std::string whole = trace_;
  for (std::size_t size = 1; size < whole.size(); ++size) {
    trace_ = whole.substr(0, size);
    const bool is_whole_line = trace_.back() == '\n';
    ASSERT_EQ(Read().warnings.size(), is_whole_line ? 0U : 1U) << size;
  }
}

TEST_F(ReadArtifactsTest, TakesWhatStandsBeforeTheCut) {
  files_.plan = R"({"command":"flash","form":"can","blocks":[[4096,2],[4098,)";
  EXPECT_THAT(Read().plan.blocks, ElementsAre(AddressRange{4096, 2}));
  files_.plan = R"({"command":"read","bit_rate":50000)";
  EXPECT_EQ(Read().plan.bit_rate, std::nullopt);
  files_.plan = R"({"started":"a\"}","command":"read")";
  EXPECT_EQ(Read().plan.started, "a\"}");
  files_.plan = std::string(R"({"command":"read","fill":1})") + std::string(50, '\0');
  EXPECT_EQ(Read().plan.fill, 1);
}

TEST_F(ReadArtifactsTest, DoesNotTakeLongForAFileThatNeverCloses) {
  files_.plan = std::string(100'000, '[');
  EXPECT_EQ(Refusal(), "plan.json: expected an object in JSON, found something else");
  files_.plan = R"({"a":)" + std::string(100'000, '{');
  EXPECT_THAT(Refusal(), HasSubstr("plan.json: expected an object in JSON"));
  std::string many = "{";
  for (int i = 0; i < 30'000; ++i) {
    many += '"' + std::to_string(i) + "\":0,";
  }
  files_.plan = many;
  EXPECT_THAT(Read().warnings, ElementsAre(HasSubstr("plan.json is cut off")));
}

TEST_F(ReadArtifactsTest, SaysWhatIsMissing) {
  files_ = {};
  const Artifacts artifacts = ReadArtifacts(files_);
  EXPECT_THAT(artifacts.warnings,
              ElementsAre("plan.json is missing", "log.jsonl is missing", "trace.log is missing"));
  EXPECT_EQ(OutcomeOf(artifacts).line,
            "Command not finished: the tool is still at work, or was ended in the middle");
}

TEST_F(ReadArtifactsTest, TellsFromTheLogHowFarAnUnfinishedCommandWas) {
  for (const std::optional<std::string>& result :
       {std::optional<std::string>(), std::optional<std::string>("{}")}) {
    files_.result = result;
    const Artifacts artifacts = Read();
    EXPECT_EQ(OutcomeOf(artifacts).state, "unfinished");
    EXPECT_EQ(OutcomeOf(artifacts).line,
              "Flash not finished: the tool is still at work, or was ended in phase download, 2 of "
              "4 bytes done");
    EXPECT_EQ(artifacts.result.ecu, "Y");
    ExpectTheAdapter(artifacts.result);
    using std::chrono::milliseconds;
    EXPECT_THAT(artifacts.result.phases,
                ElementsAre(PhaseTimes{"erase", milliseconds(250), milliseconds(750)},
                            PhaseTimes{"download", milliseconds(750), milliseconds(1000)}));
  }
  files_.log = *files_.log + R"({"event":"error","at":1,"message":"silence"})";
  EXPECT_EQ(OutcomeOf(Read()).line,
            "Flash not finished: the tool is still at work, or was ended after the error: silence");
}

TEST_F(ReadArtifactsTest, TakesTheGatewaysNumbersFromTheTrace) {
  files_.plan = R"({"command":"flash","form":"gateway","receive":0,"send":0})";
  trace_ = "(5.0) gateway 00D#01816EF18161\n(5.1) gateway 003#0183F16EC16B8F9D\n";
  const Trace trace = Read().trace;
  EXPECT_EQ(trace.exchange, (Exchange{TransportForm::kGateway, 3, 13}));
  EXPECT_EQ(trace.entries.size(), 2U);
}

TEST_F(ReadArtifactsTest, MakesAPageOfWhateverIsThere) {
  trace_ = "\x1B";
  files_.plan = "";
  files_.result = "";
  EXPECT_THAT(RenderPage(Read()), HasSubstr("Command not finished"));
}

class FolderTest : public ::testing::Test {
 protected:
  FolderTest() { std::filesystem::create_directories(folder_); }
  ~FolderTest() override { std::filesystem::remove_all(folder_); }

  void Write(const char* name, const std::string& text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }

  [[nodiscard]] std::string Refusal() const {
    try {
      static_cast<void>(ReadArtifacts(folder_));
      return "none";
    } catch (const UnreadableArtifacts& error) {
      return std::string(error.what()).substr(folder_.string().size() + 1);
    }
  }

  std::filesystem::path folder_ = std::filesystem::path(::testing::TempDir()) /
                                  ("quillmark_artifacts_" + std::to_string(::getpid()) +
                                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(FolderTest, IsReadFromItsFiles) {
  Write(artifact::kPlan, kPlan);
  Write(artifact::kResult, kResult);
  Write(artifact::kLog, kLog);
  Write(artifact::kTrace, kTrace);
  const Artifacts artifacts = ReadArtifacts(folder_);
  EXPECT_EQ(artifacts.result.state, OutcomeState::kFailed);
  EXPECT_EQ(artifacts.trace.entries.size(), 2U);
  EXPECT_THAT(artifacts.warnings, IsEmpty());
}

TEST_F(FolderTest, OfSomethingElseIsRefused) {
  EXPECT_EQ(Refusal(), "plan.json: cannot be read; is this a folder that --artifacts made?");
  std::filesystem::create_directory(folder_ / artifact::kTrace);
  EXPECT_EQ(Refusal(), "trace.log: expected a regular file");
}

TEST_F(FolderTest, WithAnEndlessFileIsRefused) {
  std::filesystem::create_symlink("/dev/zero", folder_ / artifact::kPlan);
  EXPECT_EQ(Refusal(), "plan.json: expected a regular file");
  std::filesystem::remove(folder_ / artifact::kPlan);
  Write(artifact::kPlan, "{}");
  std::filesystem::resize_file(folder_ / artifact::kPlan, 100 * 1024 * 1024);
  EXPECT_EQ(Refusal(), "plan.json: expected at most 64 MiB, found 104,857,600 bytes");
}

}  // namespace
}  // namespace quillmark::host::testing
