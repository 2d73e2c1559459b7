// SPDX-License-Identifier: MIT
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace quillmark::host::testing {

/// A folder of one test, gone with it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& place = ::testing::TempDir())
      : path_(place /
              fmt::format("quillmark_tool_{}_{}", ::getpid(),
                          ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  TemporaryFolder(TemporaryFolder&&) = delete;
  TemporaryFolder& operator=(TemporaryFolder&&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }

  [[nodiscard]] std::string Path(const std::string& name) const { return (path_ / name).string(); }

  /// Writes a file and returns its path.
  [[nodiscard]] std::string Write(const std::string& name, std::string_view content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
    return Path(name);
  }

  [[nodiscard]] std::string Read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  /// Number of files and folders in it, the records of runs left out.
  [[nodiscard]] std::ptrdiff_t Entries() const {
    return std::distance(std::filesystem::directory_iterator(path_), {}) -
           (std::filesystem::exists(path_ / "state") ? 1 : 0);
  }

 private:
  std::filesystem::path path_;
};

}  // namespace quillmark::host::testing
