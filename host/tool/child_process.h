// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace quillmark::host {

/// A shell command in a process group of its own, which ends with this object, its children
/// included: a moment after SIGTERM by SIGKILL. On Windows it is a command for cmd.exe in a job,
/// which ends at once.
///
/// It has no terminal and inherits no file: its standard input is empty, its standard output and
/// error come here. Threads: used by one thread at a time.
class ChildProcess {
 public:
  /// How a command ended.
  struct End {
    bool by_signal = false;
    int status = 0;  ///< otherwise
  };

  /// Raises std::system_error if it cannot be started.
  explicit ChildProcess(const std::string& command);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ChildProcess(ChildProcess&&) = delete;
  ChildProcess& operator=(ChildProcess&&) = delete;
  ~ChildProcess();

  /// Reads what the command writes until it ends, at most for `time`. Nothing if it still runs.
  [[nodiscard]] std::optional<End> Wait(std::chrono::milliseconds time);

  /// What it has written since the last call. After 64 KiB the rest is dropped.
  [[nodiscard]] std::string TakeOutput();
  [[nodiscard]] std::string TakeErrors();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// Opens a file with the program that the desktop has for it, and does not wait for that. False if
/// there is none.
[[nodiscard]] bool OpenOnDesktop(const std::string& file);

}  // namespace quillmark::host
