// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

namespace quillmark::host::testing {

/// As in /proc; Z for a process that is gone altogether.
inline char StateOfProcess(pid_t process) {
  std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
  std::string number;
  std::string name;
  char state = 'Z';
  stat >> number >> name >> state;
  return state;
}

/// Waits for the end of a process that was killed. One that has ended may still stand in the table.
inline void ExpectEndOfProcess(pid_t process) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (StateOfProcess(process) != 'Z') {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << process;
    std::this_thread::sleep_for(5ms);
  }
}

}  // namespace quillmark::host::testing
