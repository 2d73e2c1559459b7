// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host::testing {

/// How a run of the program ended. A signal counts as 1000 + its number.
struct ToolResult {
  int status = 0;
  std::string out;
  std::string err;
};

/// A run of the real program whose standard output a test reads as it comes.
class ToolProcess {
 public:
  /// `kWholeTerminal`: standard input and error are the same terminal, and no files; it is the one
  /// that controls the process, so that ^C typed on it interrupts. `kQuestionOnTerminal`: the same,
  /// but the standard output goes into `error_file`.
  enum class Output { kPipe, kTerminal, kWholeTerminal, kQuestionOnTerminal };

  ToolProcess(const std::vector<std::string>& arguments, const std::string& input_file,
              const std::string& error_file, Output output = Output::kPipe,
              unsigned short columns = 100);
  ToolProcess(const ToolProcess&) = delete;
  ToolProcess& operator=(const ToolProcess&) = delete;
  ToolProcess(ToolProcess&&) = delete;
  ToolProcess& operator=(ToolProcess&&) = delete;
  ~ToolProcess();

  /// Reads on until the output has `text` in it; false if it ends before.
  bool ReadUntil(const std::string& text);
  void Signal(int signal) const;
  /// Types on its terminal.
  void Write(const std::string& text) const;
  /// Gives its terminal another width.
  void Resize(unsigned short columns) const;
  /// Lets nobody read the output any more; a terminal is closed.
  void CloseOutput();
  /// Reads the rest and waits for the end.
  int Wait();

  [[nodiscard]] const std::string& output() const { return output_; }

 private:
  bool ReadMore();

  pid_t process_ = 0;
  int descriptor_ = -1;
  std::string output_;
};

/// Runs the program in a folder of its own, and with records of its own.
class ToolTest : public ::testing::Test {
 protected:
  ToolTest() { ::setenv("XDG_STATE_HOME", state_.Path("").c_str(), 1); }

  ToolResult Run(const std::vector<std::string>& arguments, const std::string& input = "");

  /// Interrupts a process whose standard error is the file "stderr", as soon as it has seen the
  /// signal before.
  void InterruptThreeTimes(const ToolProcess& process);

  TemporaryFolder folder_;
  /// In memory where there is such a folder: a disk takes its time for what it must not lose.
  TemporaryFolder state_{std::filesystem::exists("/dev/shm") ? "/dev/shm" : folder_.Path("state")};
};

}  // namespace quillmark::host::testing
