// SPDX-License-Identifier: MIT
#include "host/tool/output_file.h"

#include <gtest/gtest.h>

#include "host/tool/exit_code.h"
#include "tool/temporary_folder.h"

namespace quillmark::host {
namespace {

class OutputFileTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder_;
};

TEST_F(OutputFileTest, AppearsWhenItIsCommitted) {
  OutputFile file(folder_.Path("a"));
  file.stream() << "new";
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("a")));
  file.Commit();
  EXPECT_EQ(folder_.Read("a"), "new");
  EXPECT_EQ(folder_.Entries(), 1);
}

TEST_F(OutputFileTest, LeavesWhatWasThereUnlessItIsCommitted) {
  const std::string path = folder_.Write("a", "old");
  {
    OutputFile file(path);
    file.stream() << "new";
  }
  EXPECT_EQ(folder_.Read("a"), "old");
  EXPECT_EQ(folder_.Entries(), 1);
}

TEST_F(OutputFileTest, WritesToADeviceDirectly) {
  OutputFile file("/dev/null");
  file.stream() << "new";
  file.Commit();
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(OutputFileTest, ReportsAFileThatCannotBeCreated) {
  try {
    const OutputFile file(folder_.Path("no/such/a"));
    FAIL();
  } catch (const ToolError& error) {
    EXPECT_EQ(error.code(), ExitCode::kCannotCreate);
    EXPECT_EQ(error.what(),
              folder_.Path("no/such/a") + ": cannot create: No such file or directory");
  }
}

TEST_F(OutputFileTest, ReportsAFullDevice) {
  OutputFile file("/dev/full");
  file.stream() << "new";
  try {
    file.Commit();
    FAIL();
  } catch (const ToolError& error) {
    EXPECT_EQ(error.code(), ExitCode::kInputOutput);
    EXPECT_STREQ(error.what(), "/dev/full: cannot write: No space left on device");
  }
}

}  // namespace
}  // namespace quillmark::host
