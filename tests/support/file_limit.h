// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

namespace quillmark::testing {

/// As long as it lives no file of this process grows beyond so many bytes: writing to it fails as
/// on a full disk, with another reason.
class FileLimit {
 public:
  /// `on_signal` is what this process and those that it starts do about the signal that this
  /// causes.
  explicit FileLimit(rlim_t bytes, void (*on_signal)(int) = SIG_IGN)
      : handler_(std::signal(SIGXFSZ, on_signal)) {
    EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
    const rlimit limit{bytes, before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  FileLimit(const FileLimit&) = delete;
  FileLimit& operator=(const FileLimit&) = delete;
  FileLimit(FileLimit&&) = delete;
  FileLimit& operator=(FileLimit&&) = delete;
  ~FileLimit() {
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before_), 0);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  void (*handler_)(int);
  rlimit before_{};
};

}  // namespace quillmark::testing
