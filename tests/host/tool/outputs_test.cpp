// SPDX-License-Identifier: MIT
#include "host/tool/outputs.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "host/tool/exit_code.h"
#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

class Outputs : public ::testing::Test {
 protected:
  /// Why `output` is refused beside an image and a trace; empty if it is not.
  std::string Refusal(OutputKind kind, const std::string& output,
                      Existing existing = Existing::kReplaced) {
    try {
      CheckOutputs({{"IMAGE", image_}},
                   {{{"-o", output}, kind}, {{"--trace", trace_}, OutputKind::kFile}}, existing);
    } catch (const ToolError& error) {
      EXPECT_EQ(error.code(), ExitCode::kCannotCreate);
      EXPECT_NE(error.next(), "");
      return error.what();
    }
    return "";
  }

  std::string Path(const std::string& name) { return folder_.Path(name); }

  testing::TemporaryFolder folder_;
  const std::string image_ = folder_.Write("image", "");
  const std::string trace_ = folder_.Path("trace");
};

TEST_F(Outputs, OfAnyKindMayBeNew) {
  for (const auto kind :
       {OutputKind::kFile, OutputKind::kBackup, OutputKind::kFolder, OutputKind::kMadeAgain}) {
    EXPECT_EQ(Refusal(kind, Path("new"), Existing::kKept), "");
    EXPECT_EQ(Refusal(kind, Path("no/such/folder/new"), Existing::kKept), "");
    EXPECT_EQ(Refusal(kind, "", Existing::kKept), "");
  }
}

TEST_F(Outputs, ReplaceAnInputUnderNoName) {
  fs::create_symlink("image", Path("link"));
  fs::create_hard_link(image_, Path("hard link"));
  fs::create_directory_symlink(".", Path("folder"));
  fs::create_directory(Path("below"));
  const auto relative = fs::relative(image_).string();
  for (const std::string& name :
       {image_, Path("link"), Path("hard link"), Path("folder/image"), Path("folder/link"),
        Path("below/../image"), Path("./image"), relative}) {
    for (const auto kind : {OutputKind::kFile, OutputKind::kBackup, OutputKind::kMadeAgain}) {
      EXPECT_EQ(Refusal(kind, name), name + ": -o and IMAGE are the same file");
    }
  }
}

TEST_F(Outputs, ReplaceAnotherOutputUnderNoNameEvenBeforeItExists) {
  fs::create_directory_symlink(".", Path("folder"));
  for (const std::string& name : {trace_, Path("folder/trace"), fs::relative(trace_).string()}) {
    EXPECT_EQ(Refusal(OutputKind::kFile, name), name + ": -o and --trace are the same file");
  }
}

TEST_F(Outputs, ReplaceAFileWithForceAlone) {
  const std::string path = folder_.Write("old", "");
  EXPECT_EQ(Refusal(OutputKind::kFile, path, Existing::kKept),
            path + ": exists already, and -o replaces a file with --force alone");
  EXPECT_EQ(Refusal(OutputKind::kFile, path, Existing::kReplaced), "");
  EXPECT_EQ(Refusal(OutputKind::kMadeAgain, path, Existing::kKept), "");
}

TEST_F(Outputs, NeverReplaceAFileByABackup) {
  const std::string path = folder_.Write("old", "");
  for (const Existing existing : {Existing::kKept, Existing::kReplaced}) {
    EXPECT_EQ(Refusal(OutputKind::kBackup, path, existing),
              path + ": exists already, and -o never replaces a file");
  }
}

TEST_F(Outputs, ReplaceNoLink) {
  static_cast<void>(folder_.Write("old", ""));
  fs::create_symlink("old", Path("link"));
  fs::create_symlink("nowhere", Path("dangling"));
  fs::create_directory(Path("out"));
  fs::create_directory_symlink("out", Path("to folder"));
  for (const std::string& name :
       {Path("link"), Path("dangling"), Path("to folder"), Path("to folder/")}) {
    for (const auto kind : {OutputKind::kFile, OutputKind::kBackup, OutputKind::kFolder}) {
      EXPECT_EQ(Refusal(kind, name), name + ": -o would replace a symbolic link");
    }
  }
}

TEST_F(Outputs, LeaveAFolderToItself) {
  const auto refusal = [&](const std::string& folder) {
    return Refusal(OutputKind::kFolder, folder);
  };
  EXPECT_EQ(refusal(Path("out")), "");
  EXPECT_EQ(refusal(Path("tra")), "");
  EXPECT_EQ(refusal(Path("")), image_ + ": IMAGE lies in the folder of -o");
  EXPECT_EQ(refusal(Path("./")), image_ + ": IMAGE lies in the folder of -o");
}

TEST_F(Outputs, AreNotAddedToWhatTheCommandSays) {
  for (const std::string name : {"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
    EXPECT_EQ(Refusal(OutputKind::kFile, name),
              name + ": -o names the standard output, which has what the command says");
  }
}

TEST_F(Outputs, MayBeOneDevice) {
  fs::create_symlink("/dev/null", Path("device"));
  CheckOutputs({{"IMAGE", "/dev/null"}},
               {{{"--backup", "/dev/null"}, OutputKind::kBackup},
                {{"--trace", Path("device")}, OutputKind::kFile}},
               Existing::kKept);
}

}  // namespace
}  // namespace quillmark::host
