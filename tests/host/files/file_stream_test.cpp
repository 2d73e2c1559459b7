// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "quillmark/host/files.h"
#include "support/file_limit.h"
#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host {
namespace {

class FileStreamTest : public ::testing::Test {
 protected:
  int Opened(const std::string& path) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  }

  testing::TemporaryFolder folder_;
};

TEST_F(FileStreamTest, WritesWhatIsLongerThanItsBuffer) {
  const std::string text(100'000, 'x');
  FileStream stream(Opened(folder_.Path("a")));
  stream << text << 'y';
  stream.Close();
  EXPECT_TRUE(stream);
  EXPECT_EQ(folder_.Read("a"), text + 'y');
}

TEST_F(FileStreamTest, DropsWhatWasNotFlushed) {
  {
    FileStream stream(Opened(folder_.Path("a")));
    stream << "flushed" << std::flush << "not";
  }
  EXPECT_EQ(folder_.Read("a"), "flushed");
}

TEST_F(FileStreamTest, WritesNothingMoreOnceAWriteHasFailed) {
  FileStream stream(Opened(folder_.Path("a")));
  {
    const quillmark::testing::FileLimit limit(3);
    stream << "12345" << std::flush;
  }
  EXPECT_FALSE(stream);
  EXPECT_EQ(stream.error(), EFBIG);
  stream.clear();  // whoever disregards the state still adds nothing behind the gap
  stream << std::string(100'000, 'x') << std::flush;
  stream.rdbuf()->sputc('x');
  stream.Close();
  EXPECT_FALSE(stream);
  EXPECT_EQ(stream.error(), EFBIG);
  EXPECT_EQ(folder_.Read("a"), "123");
}

TEST_F(FileStreamTest, TellsWhatOnlyClosingFindsOut) {
  const int descriptor = Opened(folder_.Path("a"));
  FileStream stream(descriptor);
  ::close(descriptor);
  stream.Close();
  EXPECT_FALSE(stream);
  EXPECT_EQ(stream.error(), EBADF);
}

TEST_F(FileStreamTest, TakesAPipeForAFileWithoutADisk) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  FileStream stream(ends[1]);
  stream << "text";
  stream.Sync();
  stream.Close();
  EXPECT_TRUE(stream);
  std::array<char, 10> text{};
  EXPECT_EQ(::read(ends[0], text.data(), text.size()), 4);
  ::close(ends[0]);
}

}  // namespace
}  // namespace quillmark::host
