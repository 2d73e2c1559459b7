// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark::host {

/// How a process ended.
struct ProcessEnd {
  bool by_signal = false;
  /// Its status; the number of the signal if it was ended by one.
  int status = 0;
};

/// A shell command in a process group of its own, which ends with this object, its children
/// included: a moment after SIGTERM by SIGKILL. On Windows it is a command for cmd.exe in a job,
/// which ends at once.
///
/// It has no terminal and inherits no file: its standard input is empty, its standard output and
/// error come here. Threads: used by one thread at a time.
class ChildProcess {
 public:
  /// Raises std::system_error if it cannot be started.
  explicit ChildProcess(const std::string& command);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ChildProcess(ChildProcess&&) = delete;
  ChildProcess& operator=(ChildProcess&&) = delete;
  ~ChildProcess();

  /// Reads what the command writes until it ends, at most for `time`. Nothing if it still runs.
  [[nodiscard]] std::optional<ProcessEnd> Wait(std::chrono::milliseconds time);

  /// What it has written since the last call. After 64 KiB the rest is dropped.
  [[nodiscard]] std::string TakeOutput();
  [[nodiscard]] std::string TakeErrors();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// A program that this one talks with: it writes to its standard input and reads its standard
/// output. The standard error is that of this program.
///
/// Threads: used by one thread at a time.
class PipedProcess {
 public:
  /// Starts the program, the first word, which is looked for in PATH; the others are its arguments.
  /// Raises std::system_error.
  explicit PipedProcess(const std::vector<std::string>& command);
  PipedProcess(const PipedProcess&) = delete;
  PipedProcess& operator=(const PipedProcess&) = delete;
  PipedProcess(PipedProcess&&) = delete;
  PipedProcess& operator=(PipedProcess&&) = delete;
  /// Closes the program's input, which tells it to end. After a second it is killed.
  ~PipedProcess();

  /// What a program that has ended does not read is dropped.
  void Write(std::string_view text);
  /// What it has written since the last call, after waiting for that: empty once its output has
  /// ended, nothing if it writes nothing for `time`. Raises std::system_error.
  [[nodiscard]] std::optional<std::string> Read(std::chrono::milliseconds time);
  /// After its output has ended. After a second it is killed.
  [[nodiscard]] ProcessEnd AwaitEnd();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// Opens a file with the program that the desktop has for it, and does not wait for that. False if
/// there is none.
[[nodiscard]] bool OpenOnDesktop(const std::string& file);

}  // namespace quillmark::host
