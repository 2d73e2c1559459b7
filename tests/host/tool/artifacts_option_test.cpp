// SPDX-License-Identifier: MIT
// --artifacts of flash and read, and what decode and report make of them.
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"
#include "tests/support/report_page.h"

namespace quillmark::host::testing {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::size_t FramesIn(const std::string& trace) {
  std::istringstream lines(trace);
  std::size_t frames = 0;
  for (std::string line; std::getline(lines, line);) {
    const bool is_frame = !line.starts_with('#') && line.find(" break ") == std::string::npos;
    frames += is_frame ? 1 : 0;
  }
  return frames;
}

class ArtifactsOption : public ToolTest {
 protected:
  ToolResult Flash(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"flash", folder_.Write("a.s19", kTwoSegments),
                                         "--artifacts", folder_.Path("out")});
    return Run(arguments);
  }

  json ReadJson(const std::string& name) { return json::parse(folder_.Read("out/" + name)); }

  /// The lines of the log that are of this event.
  std::vector<json> Events(const std::string& name) {
    std::istringstream lines(folder_.Read("out/log.jsonl"));
    std::vector<json> events;
    for (std::string line; std::getline(lines, line);) {
      const json event = json::parse(line);
      if (event["event"] == name) {
        events.push_back(event);
      }
    }
    return events;
  }
};

TEST_F(ArtifactsOption, LeavesThePlan) {
  EXPECT_EQ(Flash().status, 0);
  const json plan = ReadJson("plan.json");
  EXPECT_EQ(plan["command"], "flash");
  EXPECT_EQ(plan["form"], "can");
  EXPECT_EQ(plan["image"]["segments"], json::parse("[[4096,2],[32768,2]]"));
  EXPECT_EQ(plan["blocks"], json::parse("[[4096,2],[32768,2]]"));
}

TEST_F(ArtifactsOption, LeavesEveryDocumentWithItsReply) {
  EXPECT_EQ(Flash().status, 0);
  const std::vector<json> documents = Events("document");
  ASSERT_GT(documents.size(), 8U);
  std::set<std::string> files;
  for (const json& document : documents) {
    files.insert({document["request"], document["reply"]});
    EXPECT_THAT(folder_.Read("out/" + document["request"].get<std::string>()), HasSubstr("<can"));
    EXPECT_THAT(folder_.Read("out/" + document["reply"].get<std::string>()), HasSubstr("</c><d>"));
  }
  EXPECT_EQ(files.size(), 2 * documents.size());
  const auto in_folder =
      std::distance(std::filesystem::directory_iterator(folder_.Path("out/documents")), {});
  EXPECT_EQ(static_cast<std::size_t>(in_folder), files.size());
  EXPECT_EQ(documents[0]["request"], "documents/0001-identify.request.xml");
}

TEST_F(ArtifactsOption, LeavesTheTraceTheLogAndTheResult) {
  EXPECT_EQ(Flash({"--verify"}).status, 0);
  EXPECT_THAT(folder_.Read("out/trace.log"), HasSubstr(" can0 632#0210C00000000000\n"));
  EXPECT_EQ(Events("image").size(), 1U);
  EXPECT_EQ(Events("images").size(), 0U);
  EXPECT_EQ(Events("done").size(), 1U);
  const json result = ReadJson("result.json");
  EXPECT_EQ(result["outcome"], "done");
  EXPECT_EQ(result["exit"], 0);
  EXPECT_EQ(result["ecu"], "SIMULATED ECU 001 REV A");
  EXPECT_EQ(result["verified_bytes"], 4);
  EXPECT_EQ(result["phases"][0]["phase"], "identify");
  EXPECT_EQ(result["phases"][0]["ended"], result["phases"][1]["began"]);
}

TEST_F(ArtifactsOption, SaysHowAFlashFailed) {
  EXPECT_EQ(Flash({"--repeat", "0", "--fault", "bad-checksum@2"}).status, 76);
  const json result = ReadJson("result.json");
  EXPECT_EQ(result["outcome"], "failed");
  EXPECT_EQ(result["exit"], 76);
  EXPECT_EQ(result["phase"], "download");
  EXPECT_EQ(result["address"], 0x8000);
  EXPECT_THAT(result["message"], StartsWith("download at 0x008000: "));
  EXPECT_EQ(Events("error").size(), 1U);
  EXPECT_EQ(Events("document").back()["complete"], true);  // the session was closed
}

TEST_F(ArtifactsOption, LeavesTheSameOfRead) {
  EXPECT_EQ(Run({"read", "--range", "0x1000:4", "-o", folder_.Path("m.bin"), "--artifacts",
                 folder_.Path("out"), "--form", "kline"})
                .status,
            0);
  EXPECT_EQ(ReadJson("plan.json")["ranges"], json::parse("[[4096,4]]"));
  EXPECT_EQ(ReadJson("result.json")["bytes"], 4);
  EXPECT_THAT(folder_.Read("out/trace.log"), StartsWith("# quillmark K line trace 1"));
}

TEST_F(ArtifactsOption, SaysOfARunThatWasKilledThatItIsUnfinished) {
  ToolProcess process(
      {"flash", folder_.Write("a.s19", kTwoSegments), "--artifacts", folder_.Path("out")},
      "/dev/null", "/dev/null", ToolProcess::Output::kWholeTerminal);
  EXPECT_TRUE(process.ReadUntil("[y/N]"));
  process.Signal(SIGKILL);
  EXPECT_EQ(process.Wait(), 1000 + SIGKILL);
  EXPECT_EQ(ReadJson("result.json")["outcome"], "unfinished");
  EXPECT_EQ(ReadJson("plan.json")["command"], "flash");
  const std::string trace = folder_.Read("out/trace.log");
  EXPECT_THAT(trace, AllOf(HasSubstr("#0210C00000000000\n"), ::testing::EndsWith("\n")));
  EXPECT_EQ(Events("document").size(), 1U);
  const ToolResult report = Run({"report", folder_.Path("out"), "-o", folder_.Path("r.html")});
  EXPECT_EQ(report.status, 0);
  EXPECT_THAT(report.out, StartsWith("outcome   Flash not finished"));
}

TEST_F(ArtifactsOption, ReplacesEarlierArtifactsWithForceAndNothingElse) {
  EXPECT_EQ(Flash({"--fault", "silent"}).status, 69);
  EXPECT_EQ(Flash({"--force"}).status, 0);
  EXPECT_EQ(ReadJson("result.json")["outcome"], "done");
  for (const std::string name : {"out/notes.txt", "out/documents/notes.txt"}) {
    const std::string notes = folder_.Write(name, "of the user");
    const ToolResult refused = Flash({"--force"});
    EXPECT_EQ(refused.status, 73);
    EXPECT_THAT(refused.err,
                HasSubstr(notes + ": is no artifact, and --force removes nothing else"));
    EXPECT_EQ(ReadJson("result.json")["outcome"], "done");
    std::filesystem::remove(notes);
  }
}

TEST_F(ArtifactsOption, WantsAFolderOfItsOwn) {
  EXPECT_EQ(Flash().status, 0);
  const ToolResult again = Flash();
  EXPECT_EQ(again.status, 73);
  EXPECT_THAT(again.err, HasSubstr("expected a new or an empty folder, there is something in it"));
}

TEST_F(ArtifactsOption, WantsNoFile) {
  const std::string file = folder_.Write("file", "");
  const ToolResult result =
      Run({"read", "--range", "0:1", "-o", folder_.Path("memory"), "--artifacts", file});
  EXPECT_EQ(result.status, 73);
  EXPECT_THAT(result.err, HasSubstr(file + ": expected a new or an empty folder, found a file"));
}

TEST_F(ArtifactsOption, GivesDecodeAndReportWhatTheyNeedInEveryForm) {
  for (const std::string form : {"can", "gateway", "kline"}) {
    SCOPED_TRACE(form);
    std::filesystem::remove_all(folder_.Path("out"));
    EXPECT_EQ(Flash({"--form", form, "--verify"}).status, 0);
    const std::string address = form == "can" ? "" : "start communication";
    EXPECT_THAT(
        Run({"decode", folder_.Path("out/trace.log")}).out,
        AllOf(HasSubstr(address), HasSubstr("request download: memory 00, 0x001000 to 0x001001"),
              HasSubstr("request download, positive: accepted"), ::testing::Not(HasSubstr("["))));
    EXPECT_THAT(
        Run({"decode", folder_.Path("out/documents/0002-unlock.reply.xml")}).out,
        AllOf(HasSubstr(", run\n"), HasSubstr("security access, positive: seed 1A2B3C4D\n")));
    const ToolResult report = Run({"report", folder_.Path("out"), "-o", folder_.Path("r.html")});
    EXPECT_EQ(report.status, 0);
    EXPECT_THAT(report.out, StartsWith("outcome   Flashed 4 bytes in "));
    EXPECT_THAT(report.out, ::testing::Not(HasSubstr("warning")));
    const json data = DataOfReport(folder_.Read("r.html"));
    EXPECT_EQ(data["frames"], FramesIn(folder_.Read("out/trace.log")));
    EXPECT_EQ(data["memory"], json::parse(R"([[4096,2,"verified"],[32768,2,"verified"]])"));
  }
}

TEST_F(ArtifactsOption, MakesAReportAgainButNeverInPlaceOfWhatItShows) {
  EXPECT_EQ(Flash().status, 0);
  EXPECT_EQ(Run({"report", folder_.Path("out"), "-o", folder_.Path("r.html")}).status, 0);
  EXPECT_EQ(Run({"report", folder_.Path("out"), "-o", folder_.Path("r.html")}).status, 0);
  for (const std::string name : {"plan.json", "result.json", "trace.log", "log.jsonl"}) {
    const std::string content = folder_.Read("out/" + name);
    std::filesystem::create_symlink("out/" + name, folder_.Path(name));
    for (const std::string& path : {folder_.Path("out/" + name), folder_.Path(name)}) {
      const ToolResult result = Run({"report", folder_.Path("out"), "-o", path});
      EXPECT_EQ(result.status, 73);
      EXPECT_THAT(result.err, HasSubstr(path + ": -o and " + name + " are the same file"));
    }
    EXPECT_EQ(folder_.Read("out/" + name), content);
  }
}

TEST_F(ArtifactsOption, GivesAReportAsFarAsItGoesWhereItIsCutOff) {
  EXPECT_EQ(Flash().status, 0);
  for (const char* name : {"out/plan.json", "out/log.jsonl", "out/trace.log"}) {
    const auto size = std::filesystem::file_size(folder_.Path(name));
    std::filesystem::resize_file(folder_.Path(name), size - 20);
  }
  std::filesystem::resize_file(folder_.Path("out/result.json"), 0);
  const ToolResult report = Run({"report", folder_.Path("out"), "-o", folder_.Path("r.html")});
  EXPECT_EQ(report.status, 0);
  EXPECT_THAT(report.out, AllOf(StartsWith("outcome   Flash not finished: the tool is still at "
                                           "work, or was ended in phase close\n"),
                                HasSubstr("warning   plan.json is cut off"),
                                HasSubstr("warning   result.json is cut off"),
                                HasSubstr("warning   log.jsonl: line "),
                                HasSubstr("warning   trace.log: line ")));
  EXPECT_EQ(DataOfReport(folder_.Read("r.html"))["warnings"].size(), 4U);
}

TEST_F(ArtifactsOption, MakesNoReportOfNumbersThatNoFlashHas) {
  EXPECT_EQ(Flash().status, 0);
  json plan = ReadJson("plan.json");
  plan["blocks"][0][0] = -1;
  static_cast<void>(folder_.Write("out/plan.json", plan.dump()));
  const ToolResult report = Run({"report", folder_.Path("out"), "-o", folder_.Path("r.html")});
  EXPECT_EQ(report.status, 65);
  EXPECT_EQ(report.err, "quillmark: " + folder_.Path("out") +
                            ": plan.json: blocks[0][0]: expected a number from 0 to 16777215, "
                            "found -1\nnext      name a folder as --artifacts left it\n");
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("r.html")));
}

TEST_F(ArtifactsOption, MakesNoReportOfAnythingElse) {
  const ToolResult result = Run({"report", folder_.Path("none"), "-o", folder_.Path("r.html")});
  EXPECT_EQ(result.status, 66);
  EXPECT_THAT(result.err,
              HasSubstr("plan.json: cannot be read; is this a folder that --artifacts made?"));
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("r.html")));
}

using DecodeCommand = ToolTest;

TEST_F(DecodeCommand, ListsFramesWhereAsked) {
  const std::string trace = folder_.Write("t.log", "(5.0) can0 632#0227810000000000\n");
  EXPECT_EQ(Run({"decode", trace, "--frames"}).out,
            "# plain CAN, requests on 632, replies on 632, 1 frame in 1 message\n"
            "   0.000000 >    1  27 81                       security access: ask for the seed\n"
            "   0.000000 >       02 27 81 00 00 00 00 00  single frame\n");
}

TEST_F(DecodeCommand, TakesTheIdentifiersThatAreMeant) {
  const std::string trace = folder_.Write("t.log",
                                          "(5.0) can0 100#0011\n"
                                          "(5.1) can0 632#013E\n"
                                          "(5.2) can0 73A#017E\n");
  EXPECT_EQ(Run({"decode", trace, "--ids", "0x73A", "0x632"}).out,
            "# plain CAN, requests on 632, replies on 73A, 2 frames in 2 messages\n"
            "   0.000000 >    1  3E                          tester present\n"
            "   0.100000 <    1  7E                          tester present, positive\n");
}

TEST_F(DecodeCommand, ListsATraceThatIsCutOffAsFarAsItGoes) {
  const ToolResult result =
      Run({"decode", folder_.Write("t.log", "(5.0) can0 632#013E\n(5.1) can0 73A#017")});
  EXPECT_EQ(result.status, 65);
  EXPECT_THAT(result.out, HasSubstr(" 1 frame in 1 message\n   0.000000 >    1  3E "));
  EXPECT_THAT(result.err, HasSubstr("t.log: line 2: expected (SECONDS) INTERFACE"));
  EXPECT_THAT(result.err, HasSubstr("next      what comes before this line is listed\n"));
}

TEST_F(DecodeCommand, RefusesWhatIsTooLargeToBeRead) {
  const std::string trace = folder_.Write("t.log", "");
  std::filesystem::resize_file(trace, 0x40000001);
  const ToolResult result = Run({"decode", trace});
  EXPECT_EQ(result.status, 66);
  EXPECT_THAT(result.err, HasSubstr("t.log: expected at most 1024 MiB, found more"));
  const ToolResult endless = Run({"decode", "/dev/zero"});
  EXPECT_EQ(endless.status, 65);
  EXPECT_THAT(endless.err, HasSubstr("expected a line of at most 65535 bytes, found more"));
}

TEST_F(DecodeCommand, SaysWhatIsWrongWithAFile) {
  const ToolResult trace = Run({"decode", folder_.Write("t.log", "(5.0) can0 632#8\n")});
  EXPECT_EQ(trace.status, 65);
  EXPECT_EQ(trace.out, "");
  EXPECT_THAT(trace.err, HasSubstr("t.log: line 1: expected (SECONDS) INTERFACE"));
  const ToolResult document = Run({"decode", folder_.Write("d.xml", "<can/>")});
  EXPECT_EQ(document.status, 65);
  EXPECT_THAT(document.err, HasSubstr("d.xml: expected a document: not a request document: "));
  EXPECT_EQ(Run({"decode", folder_.Path("none")}).status, 66);
  EXPECT_EQ(Run({"decode", folder_.Write("e.log", "")}).status, 66);
}

TEST_F(ArtifactsOption, TellEveryTry) {
  const ToolResult result = Flash({"--verify", "--fault", "lose-every@150"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, ::testing::ContainsRegex("again     asked again [0-9]+ times?\n"));

  const json outcome = ReadJson("result.json");
  EXPECT_GT(outcome["repeated"], 0);
  EXPECT_EQ(outcome["log_record_is_unanswered"], false);
  EXPECT_EQ(Events("progress").back()["repeated"], outcome["repeated"]);

  std::string documents;
  for (const json& document : Events("document")) {
    documents += Run({"decode", folder_.Path("out/" + document["reply"].get<std::string>())}).out;
  }
  EXPECT_THAT(documents, HasSubstr("\n  tries: silence, ok\n"));

  const std::string page = folder_.Path("page.html");
  ASSERT_EQ(Run({"report", folder_.Path("out"), "-o", page}).status, 0);
  const json repeats = DataOfReport(folder_.Read("page.html"))["exchanges"]["repeat"];
  EXPECT_GT(std::count(repeats.begin(), repeats.end(), 1), 0);
}

}  // namespace
}  // namespace quillmark::host::testing
