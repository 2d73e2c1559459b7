// SPDX-License-Identifier: MIT
// The commands that write, if their files may not grow beyond some size. What that makes of a
// backup is in backup_test.cpp.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "support/file_limit.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class FullDisk : public ToolTest {
 protected:
  /// Without SIG_IGN in this process the tool has to see to the signal itself.
  /// The records are left out, which are a file like any other: records_option_test.cpp is about
  /// them.
  ToolResult RunWithin(rlim_t room, std::vector<std::string> arguments) {
    if (arguments.front() == "flash" || arguments.front() == "read") {
      arguments.emplace_back("--no-records");
    }
    const quillmark::testing::FileLimit limit(room, SIG_DFL);
    return Run(arguments);
  }

  void ExpectUnwritten(const ToolResult& result, const std::string& path) {
    EXPECT_EQ(result.status, 74);
    EXPECT_THAT(result.err, HasSubstr(path + ": cannot write: File too large"));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.Path(""))) {
      EXPECT_NE(entry.path().extension(), ".part") << entry.path();
    }
  }

  const std::string image_ = folder_.Write("a.bin", Pattern(5000));
};

TEST_F(FullDisk, LeavesTheEarlierFileOfRead) {
  for (const std::string name : {"m.bin", "m.hex", "m.s19"}) {
    const std::string output = folder_.Write(name, "earlier");
    ExpectUnwritten(RunWithin(600, {"read", "--range", "0:1000", "-o", output, "--force"}), output);
    EXPECT_EQ(folder_.Read(name), "earlier");
  }
}

TEST_F(FullDisk, DoesNotStopAFlashWhoseTraceItCutsOff) {
  const std::string trace = folder_.Path("t.log");
  const ToolResult result =
      RunWithin(4000, {"flash", image_, "--base", "0", "--verify", "--trace", trace});
  ExpectUnwritten(result, trace);
  EXPECT_THAT(result.out, HasSubstr("verify    5,000 bytes read back and found equal\n"));
  EXPECT_THAT(result.err, HasSubstr("; the flash itself succeeded\n"));
  EXPECT_EQ(std::filesystem::file_size(trace), 4000U);
}

TEST_F(FullDisk, DoesNotStopAFlashWhoseArtifactsItCutsOff) {
  const ToolResult result =
      RunWithin(6000, {"flash", image_, "--base", "0", "--artifacts", folder_.Path("out")});
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.out, HasSubstr("\ndone      in "));
  EXPECT_THAT(result.err, HasSubstr("; the flash itself succeeded\n"));
  EXPECT_THAT(folder_.Read("out/result.json"),
              ::testing::AllOf(HasSubstr("\"outcome\": \"done\""), HasSubstr("\"exit\": 74")));
  EXPECT_EQ(std::filesystem::file_size(folder_.Path("out/trace.log")), 6000U);
  EXPECT_EQ(Run({"report", folder_.Path("out"), "-o", folder_.Path("r.html")}).status, 0);
}

TEST_F(FullDisk, StopsAFlashThatCannotEvenWriteItsPlan) {
  const ToolResult result =
      RunWithin(250, {"flash", image_, "--base", "0", "--artifacts", folder_.Path("out")});
  ExpectUnwritten(result, folder_.Path("out/plan.json"));
  EXPECT_THAT(result.out, ::testing::Not(HasSubstr("identify")));
}

TEST_F(FullDisk, LeavesNoPartOfADocument) {
  ExpectUnwritten(RunWithin(2000, {"plan", image_, "--base", "0", "-o", folder_.Path("out")}),
                  folder_.Path("out/download-0001.xml"));
  EXPECT_TRUE(std::filesystem::is_empty(folder_.Path("out")));
}

TEST_F(FullDisk, LeavesTheEarlierPage) {
  EXPECT_EQ(Run({"flash", image_, "--base", "0", "--artifacts", folder_.Path("out")}).status, 0);
  const std::string page = folder_.Write("r.html", "earlier");
  ExpectUnwritten(RunWithin(10'000, {"report", folder_.Path("out"), "-o", page}), page);
  EXPECT_EQ(folder_.Read("r.html"), "earlier");
}

TEST_F(FullDisk, OfStandardOutputIsNoticedByEveryCommand) {
  const std::string trace = folder_.Path("t.log");
  const std::string artifacts = folder_.Path("out");
  const std::string documents = folder_.Path("documents");
  EXPECT_EQ(
      Run({"flash", image_, "--base", "0", "--trace", trace, "--artifacts", artifacts}).status, 0);
  EXPECT_EQ(Run({"plan", image_, "--base", "0", "-o", documents}).status, 0);
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--help"},
           {"--version"},
           {"decode", "--help"},
           {"plan", image_, "--base", "0"},
           {"flash", image_, "--base", "0", "--yes"},
           {"read", "--range", "0:16", "-o", folder_.Path("read.bin")},
           {"identify"},
           {"decode", trace},
           {"decode", documents + "/download-0001.xml"},
           {"report", artifacts, "-o", folder_.Path("r.html")},
           {"simulate", "--bus", "slcan"},
           {"calls"}}) {
    ToolProcess process(arguments, "", "/dev/full", ToolProcess::Output::kQuestionOnTerminal);
    process.Write("{\"call\":\"StartDiag\"}\n\x04");
    EXPECT_EQ(process.Wait(), 74) << arguments.front();
    EXPECT_THAT(process.output(), HasSubstr("cannot write to standard output"));
  }
}

using ClosedStream = ToolTest;

TEST_F(ClosedStream, IsNoFileThatTheToolOpens) {
  struct Closed {
    const char* stream;
    int status;
  };
  for (const auto& [stream, status] : {Closed{"<&-", 0}, Closed{">&-", 74}, Closed{"2>&-", 0}}) {
    const std::string trace = folder_.Path("t.log");
    const std::string command =
        fmt::format("'{}' flash '{}' --base 0 --yes --no-records --force --trace '{}' {}",
                    QUILLMARK_TOOL, folder_.Write("a.bin", Pattern(100)), trace, stream);
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), status) << stream;
    std::istringstream lines(folder_.Read("t.log"));
    for (std::string line; std::getline(lines, line);) {
      EXPECT_THAT(line, StartsWith("("));
    }
  }
}

}  // namespace
}  // namespace quillmark::host::testing
