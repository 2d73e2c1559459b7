// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace quillmark::host {

/// A shell command in a process group of its own, which ends with this object, its children
/// included: a moment after SIGTERM by SIGKILL.
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

  /// Reads what the command writes until it ends, at most for `time`. Returns its status as waitpid
  /// has it, nothing if it still runs.
  [[nodiscard]] std::optional<int> Wait(std::chrono::milliseconds time);

  /// What it has written since the last call. After 64 KiB the rest is dropped.
  [[nodiscard]] std::string TakeOutput() { return output_.TakeText(); }
  [[nodiscard]] std::string TakeErrors() { return errors_.TakeText(); }

 private:
  using Clock = std::chrono::steady_clock;

  /// One of its outputs, of which no more than a bounded part is kept.
  class Stream {
   public:
    Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    Stream(Stream&&) = delete;
    Stream& operator=(Stream&&) = delete;
    ~Stream();

    [[nodiscard]] int read_end() const { return read_end_; }
    [[nodiscard]] int write_end() const { return write_end_; }
    /// Once the command has the other end.
    void CloseWriteEnd();
    /// Takes what is there.
    void Read();
    [[nodiscard]] std::string TakeText() { return std::exchange(text_, {}); }

   private:
    int read_end_ = -1;
    int write_end_ = -1;
    std::size_t room_;
    std::string text_;
  };

  void Read(std::chrono::milliseconds timeout);
  [[nodiscard]] bool HasEnded();
  void EndGroup() const;
  [[nodiscard]] bool AwaitEndOfGroup(Clock::time_point deadline) const;

  Stream output_;
  Stream errors_;
  pid_t group_ = 0;
  std::optional<int> status_;
};

}  // namespace quillmark::host
