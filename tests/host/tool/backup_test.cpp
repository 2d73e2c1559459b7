// SPDX-License-Identifier: MIT
// --backup of flash: what it saves, what it never replaces, and what becomes of the ECU if it
// fails.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include "support/file_limit.h"
#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class Backup : public ToolTest {
 protected:
  ToolResult Flash(const std::string& backup, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(),
                     {"flash", folder_.Write("a.s19", kTwoSegments), "--backup", backup});
    return Run(arguments);
  }
};

TEST_F(Backup, HoldsWhatTheEcuHeldBefore) {
  const ToolResult result = Flash(folder_.Path("old.s19"), {"--json"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(folder_.Read("old.s19"), HasSubstr("S10510005A5A36"));
  EXPECT_THAT(result.out, HasSubstr("{\"event\":\"backup\",\"file\":\"" + folder_.Path("old.s19")));
}

TEST_F(Backup, ThatCannotBeCreatedKeepsTheEcuFromBeingTouched) {
  const ToolResult result = Flash(folder_.Path("none/old.bin"));
  EXPECT_EQ(result.status, 73);
  EXPECT_THAT(result.out, Not(HasSubstr("identify")));
}

TEST_F(Backup, NeverReplacesAFile) {
  const std::string earlier = folder_.Write("old.s19", "earlier");
  for (const std::vector<std::string>& force : {std::vector<std::string>{}, {"--force"}}) {
    const ToolResult result = Flash(earlier, force);
    EXPECT_EQ(result.status, 73);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "quillmark: " + earlier +
                              ": exists already, and --backup never replaces a file\n"
                              "next      name another file; this one may hold the only good copy "
                              "of a memory\n");
  }
  EXPECT_EQ(folder_.Read("old.s19"), "earlier");
}

TEST_F(Backup, AndTraceNeverReplaceTheImage) {
  const std::string image = folder_.Write("a.log", kTwoSegments);
  std::filesystem::create_hard_link(image, folder_.Path("b.log"));
  for (const std::string option : {"--backup", "--trace"}) {
    for (const std::string& path : {image, folder_.Path("b.log")}) {
      const ToolResult result = Run({"flash", image, option, path, "--force"});
      EXPECT_EQ(result.status, 73);
      EXPECT_THAT(result.err, HasSubstr(path + ": " + option + " and IMAGE are the same file\n"));
    }
  }
  EXPECT_EQ(folder_.Read("a.log"), kTwoSegments);
}

TEST_F(Backup, IsNamedByAFailureThatCostTheMemory) {
  const std::string backup = folder_.Path("old.s19");
  const ToolResult result = Flash(
      backup, {"--fault", "bad-checksum@2", "--repeat", "0", "--artifacts", folder_.Path("out")});
  EXPECT_EQ(result.status, 76);
  EXPECT_THAT(result.err, EndsWith("; what the memory held before is in " + backup +
                                   ": keep that file, and flash again without a backup\n"));
  EXPECT_THAT(folder_.Read("out/result.json"), HasSubstr("\"backup\": \"" + backup + "\""));
  EXPECT_THAT(folder_.Read("old.s19"), HasSubstr("S10510005A5A36"));
}

TEST_F(Backup, IsNotNamedIfTheFailureCameBeforeIt) {
  const ToolResult result = Flash(folder_.Path("old.s19"), {"--fault", "refuse-key"});
  EXPECT_EQ(result.status, 76);
  EXPECT_THAT(result.err, Not(HasSubstr("old.s19")));
}

TEST_F(Backup, ThatCannotBeWrittenEndsTheSessionBeforeTheErase) {
  const ToolResult result = Flash("/dev/full", {"--trace", folder_.Path("t.log")});
  EXPECT_EQ(result.status, 74);
  EXPECT_EQ(result.err,
            "quillmark: /dev/full: cannot write: No space left on device; nothing was erased\n"
            "next      make room on the disk, or name a file elsewhere\n");
  EXPECT_THAT(result.out, Not(HasSubstr("erase\n")));
  const ToolResult trace = Run({"decode", folder_.Path("t.log")});
  EXPECT_THAT(trace.out, AllOf(HasSubstr("request upload"), Not(HasSubstr("request download")),
                               EndsWith(": 81 default session\n")));
}

// 40 segments with gaps of 64 KiB, of which the file may hold the beginning.
TEST_F(Backup, LeavesNoPartOfAFileThatGrowsTooLarge) {
  std::string records;
  for (int i = 0; i < 40; ++i) {
    records += fmt::format("S205{:02X}000000{:02X}\n", i, 0xFA - i);
  }
  const std::string image = folder_.Write("a.s28", records + "S804000000FB\n");
  for (const rlim_t room : {512U, 8192U, 0x10000U, 0x100000U}) {
    ToolResult result;
    {
      const quillmark::testing::FileLimit limit(room, SIG_DFL);
      result = Run({"flash", image, "--backup", folder_.Path("old.bin")});
    }
    EXPECT_EQ(result.status, 74);
    EXPECT_THAT(result.err, HasSubstr("old.bin: cannot write: File too large; nothing was erased"));
    EXPECT_EQ(folder_.Entries(), 3);  // the image, stdin and stderr
  }
}

}  // namespace
}  // namespace quillmark::host::testing
