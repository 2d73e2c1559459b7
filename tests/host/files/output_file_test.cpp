// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include "quillmark/host/files.h"
#include "support/file_limit.h"
#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host {
namespace {

/// What the kernel was asked to write to the disk, in order, and what it is to answer.
struct DiskSync {
  std::vector<std::string> names{};
  std::string failing{};  ///< the end of a name
} disk_sync;

std::string NameBehind(int descriptor) {
  return std::filesystem::read_symlink(fmt::format("/proc/self/fd/{}", descriptor)).string();
}

}  // namespace
}  // namespace quillmark::host

/// Takes the place of the C library's in this program.
extern "C" int fsync(int descriptor) {
  using quillmark::host::disk_sync;
  const std::string name = quillmark::host::NameBehind(descriptor);
  disk_sync.names.push_back(name);
  if (!disk_sync.failing.empty() && name.ends_with(disk_sync.failing)) {
    errno = EIO;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::StartsWith;

template <typename Exception, typename Work>
std::string MessageOf(Work&& work) {
  try {
    work();
  } catch (const Exception& error) {
    return error.what();
  }
  return "(nothing raised)";
}

void Write(const std::string& path, Existing existing, std::string_view content = "new") {
  OutputFile file(path, existing);
  file.stream() << content;
  file.Commit();
}

class OutputFileTest : public ::testing::Test {
 protected:
  OutputFileTest() { disk_sync = {}; }

  [[nodiscard]] std::string FolderPath() const { return fs::path(folder_.Path("a")).parent_path(); }

  [[nodiscard]] unsigned ModeOf(const std::string& name) const {
    return static_cast<unsigned>(fs::status(folder_.Path(name)).permissions());
  }

  testing::TemporaryFolder folder_;
};

TEST_F(OutputFileTest, AppearsWhenItIsCommitted) {
  OutputFile file(folder_.Path("a"), Existing::kKept);
  file.stream() << "new";
  EXPECT_FALSE(fs::exists(folder_.Path("a")));
  file.Commit();
  EXPECT_EQ(folder_.Read("a"), "new");
  EXPECT_EQ(folder_.Entries(), 1);
}

TEST_F(OutputFileTest, LeavesWhatWasThereUnlessItIsCommitted) {
  const std::string path = folder_.Write("a", "old");
  {
    OutputFile file(path, Existing::kReplaced);
    file.stream() << "new";
  }
  EXPECT_EQ(folder_.Read("a"), "old");
  EXPECT_EQ(folder_.Entries(), 1);
}

TEST_F(OutputFileTest, ReplacesAFileOnlyWhereItMay) {
  const std::string path = folder_.Write("a", "old");
  EXPECT_EQ(MessageOf<CannotCreateFile>([&] { Write(path, Existing::kKept); }),
            path + ": cannot create: File exists");
  EXPECT_EQ(folder_.Read("a"), "old");
  Write(path, Existing::kReplaced);
  EXPECT_EQ(folder_.Read("a"), "new");
}

TEST_F(OutputFileTest, NamesTheFileAndTheReasonOfAFailureInParts) {
  const std::string path = folder_.Write("a", "old");
  try {
    Write(path, Existing::kKept);
    FAIL() << "a file was replaced";
  } catch (const FileError& error) {
    EXPECT_EQ(error.path(), path);
    EXPECT_EQ(error.error(), EEXIST);
  }
}

TEST_F(OutputFileTest, KeepsAFileThatAppearsMeanwhile) {
  const std::string path = folder_.Path("a");
  {
    OutputFile file(path, Existing::kKept);
    file.stream() << "new";
    EXPECT_EQ(folder_.Write("a", "somebody else's"), path);
    EXPECT_EQ(MessageOf<CannotWriteFile>([&] { file.Commit(); }),
              path + ": cannot write: File exists");
  }
  EXPECT_EQ(folder_.Read("a"), "somebody else's");
  EXPECT_EQ(folder_.Entries(), 1);
}

TEST_F(OutputFileTest, KeepsALinkThatLeadsNowhere) {
  fs::create_symlink("nowhere", folder_.Path("a"));
  EXPECT_EQ(MessageOf<CannotCreateFile>([&] { Write(folder_.Path("a"), Existing::kKept); }),
            folder_.Path("a") + ": cannot create: File exists");
}

TEST_F(OutputFileTest, ReplacesWhatALinkLeadsTo) {
  static_cast<void>(folder_.Write("a", "old"));
  fs::create_symlink("a", folder_.Path("link"));
  Write(folder_.Path("link"), Existing::kReplaced);
  EXPECT_EQ(folder_.Read("a"), "new");
  EXPECT_TRUE(fs::is_symlink(folder_.Path("link")));
}

TEST_F(OutputFileTest, LeavesOtherNamesOfAReplacedFileAlone) {
  const std::string path = folder_.Write("a", "old");
  fs::create_hard_link(path, folder_.Path("other"));
  Write(path, Existing::kReplaced);
  EXPECT_EQ(folder_.Read("other"), "old");
}

TEST_F(OutputFileTest, KeepsThePermissionsOfWhatItReplaces) {
  const mode_t mask = ::umask(077);
  for (const unsigned mode : {0600U, 0640U, 0666U, 0755U}) {
    const std::string path = folder_.Write("a", "old");
    fs::permissions(path, static_cast<fs::perms>(mode));
    Write(path, Existing::kReplaced);
    EXPECT_EQ(ModeOf("a"), mode);
  }
  ::umask(027);
  Write(folder_.Path("b"), Existing::kKept);
  ::umask(mask);
  EXPECT_EQ(ModeOf("b"), 0640U);
}

TEST_F(OutputFileTest, TakesANameForTheUnfinishedFileThatNobodyHasOrForesees) {
  static_cast<void>(folder_.Write("a.part", "of the user"));
  std::set<std::string> names;
  for (int i = 0; i < 3; ++i) {
    const OutputFile file(folder_.Path("a"), Existing::kKept);
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_.Path(""))) {
      names.insert(entry.path().filename());
    }
  }
  EXPECT_EQ(names.size(), 4U);
  EXPECT_EQ(folder_.Read("a.part"), "of the user");
  EXPECT_EQ(folder_.Entries(), 1);
}

TEST_F(OutputFileTest, TakesTheLongestName) {
  const std::string name(255, 'n');
  Write(folder_.Path(name), Existing::kKept);
  EXPECT_EQ(folder_.Read(name), "new");
}

TEST_F(OutputFileTest, GrowsInItsPlaceWhereAsked) {
  OutputFile file(folder_.Path("a"), Existing::kKept);
  file.stream() << "new" << std::flush;
  file.TakePlace();
  EXPECT_EQ(folder_.Read("a"), "new");
  file.stream() << "er";
  file.Commit();
  EXPECT_EQ(folder_.Read("a"), "newer");
}

TEST_F(OutputFileTest, ReportsAPlaceThatItDidNotGetWhenItIsCommitted) {
  const std::string path = folder_.Path("a");
  OutputFile file(path, Existing::kKept);
  EXPECT_EQ(folder_.Write("a", "somebody else's"), path);
  file.TakePlace();
  EXPECT_EQ(MessageOf<CannotWriteFile>([&] { file.Commit(); }),
            path + ": cannot write: File exists");
}

TEST_F(OutputFileTest, LeavesNothingWhereItFailsAtAnyByte) {
  constexpr std::string_view kContent = "0123456789";
  for (rlim_t room = 0; room < kContent.size(); ++room) {
    std::string message;
    {
      const quillmark::testing::FileLimit limit(room);
      message =
          MessageOf<CannotWriteFile>([&] { Write(folder_.Path("a"), Existing::kKept, kContent); });
    }
    EXPECT_EQ(message, folder_.Path("a") + ": cannot write: File too large");
    EXPECT_EQ(folder_.Entries(), 0);
  }
}

TEST_F(OutputFileTest, IsOnTheDiskWithItsNameWhereAsked) {
  OutputFile file(folder_.Path("a"), Existing::kKept);
  file.stream() << "new";
  file.CommitToDisk();
  EXPECT_THAT(disk_sync.names, ElementsAre(StartsWith(folder_.Path("a.")), FolderPath()));
}

TEST_F(OutputFileTest, FailsWhereTheDiskDoesNotTakeIt) {
  for (const std::string& failing : {std::string(".part"), FolderPath()}) {
    disk_sync.failing = failing;
    OutputFile file(folder_.Path("a"), Existing::kKept);
    EXPECT_EQ(MessageOf<CannotWriteFile>([&] { file.CommitToDisk(); }),
              folder_.Path("a") + ": cannot write: Input/output error");
  }
}

TEST_F(OutputFileTest, WritesToADeviceDirectly) {
  for (const Existing existing : {Existing::kKept, Existing::kReplaced}) {
    OutputFile file("/dev/null", existing);
    file.stream() << "new";
    file.CommitToDisk();
  }
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(OutputFileTest, ReportsAFileThatCannotBeCreated) {
  const auto message = [this](const std::string& name) {
    return MessageOf<CannotCreateFile>(
        [&] { const OutputFile file(folder_.Path(name), Existing::kReplaced); });
  };
  EXPECT_EQ(message("no/such/a"),
            folder_.Path("no/such/a") + ": cannot create: No such file or directory");
  EXPECT_EQ(message(""), folder_.Path("") + ": cannot create: Is a directory");
  EXPECT_EQ(message(std::string(256, 'n')),
            folder_.Path(std::string(256, 'n')) + ": cannot create: File name too long");
  EXPECT_EQ(MessageOf<CannotCreateFile>([] { const OutputFile file("", Existing::kKept); }),
            ": cannot create: No such file or directory");
}

TEST_F(OutputFileTest, ReportsAFullDevice) {
  EXPECT_EQ(MessageOf<CannotWriteFile>([] { Write("/dev/full", Existing::kReplaced); }),
            "/dev/full: cannot write: No space left on device");
}

}  // namespace
}  // namespace quillmark::host
