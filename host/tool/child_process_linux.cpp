// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include "host/tool/child_process.h"
#include "host/tool/interrupt.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// How long a wait lasts before the command is looked at again.
constexpr milliseconds kLookUp{20};
/// Between SIGTERM and SIGKILL.
constexpr milliseconds kGrace{1000};
constexpr milliseconds kShortWait{5};
/// As much as a pipe holds.
constexpr std::size_t kMostText = 65536;
constexpr int kClosed = -1;
constexpr int kFirstOwnDescriptor = 3;
constexpr int kNotFound = 127;

[[noreturn]] void RaiseErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// In the child, where nothing may be called that takes a lock or memory.
[[noreturn]] void Execute(const char* command, int output, int errors) {
  ::setsid();
  // For a parent that is killed: it ends nothing itself.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::signal(SIGPIPE, SIG_DFL);
  std::signal(SIGXFSZ, SIG_DFL);
  const int nothing = ::open("/dev/null", O_RDONLY);
  const bool connected = ::dup2(nothing, STDIN_FILENO) >= 0 && ::dup2(output, STDOUT_FILENO) >= 0 &&
                         ::dup2(errors, STDERR_FILENO) >= 0;
  if (connected && ::close_range(kFirstOwnDescriptor, ~0U, 0) == 0) {
    ::execl("/bin/sh", "sh", "-c", command, nullptr);
  }
  ::_exit(kNotFound);
}

/// One of the outputs of a command, of which no more than a bounded part is kept.
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
  std::size_t room_ = kMostText;
  std::string text_;
};

Stream::Stream() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    RaiseErrno("there is no pipe");
  }
  ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
  read_end_ = ends[0];
  write_end_ = ends[1];
}

Stream::~Stream() {
  CloseWriteEnd();
  if (read_end_ != kClosed) {
    ::close(read_end_);
  }
}

void Stream::CloseWriteEnd() {
  if (write_end_ != kClosed) {
    ::close(std::exchange(write_end_, kClosed));
  }
}

void Stream::Read() {
  std::array<char, kMostText> buffer{};
  const ssize_t size = ::read(read_end_, buffer.data(), buffer.size());
  if (size == 0) {
    ::close(std::exchange(read_end_, kClosed));
  }
  if (size > 0) {
    const std::size_t kept = std::min(static_cast<std::size_t>(size), room_);
    text_.append(buffer.data(), kept);
    room_ -= kept;
  }
}

}  // namespace

class ChildProcess::Implementation {
 public:
  explicit Implementation(const std::string& command);
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  Implementation(Implementation&&) = delete;
  Implementation& operator=(Implementation&&) = delete;
  ~Implementation();

  [[nodiscard]] std::optional<End> Wait(milliseconds time);
  [[nodiscard]] std::string TakeOutput() { return output_.TakeText(); }
  [[nodiscard]] std::string TakeErrors() { return errors_.TakeText(); }

 private:
  using Clock = std::chrono::steady_clock;

  void Read(milliseconds timeout);
  [[nodiscard]] bool HasEnded();
  void EndGroup() const;
  [[nodiscard]] bool AwaitEndOfGroup(Clock::time_point deadline) const;

  Stream output_;
  Stream errors_;
  pid_t group_ = 0;
  /// As waitpid has it.
  std::optional<int> status_;
};

ChildProcess::Implementation::Implementation(const std::string& command) {
  // What a command leaves behind becomes a child of this process, which so sees it end.
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  group_ = ::fork();
  if (group_ == 0) {
    Execute(command.c_str(), output_.write_end(), errors_.write_end());
  }
  if (group_ < 0) {
    RaiseErrno("there is no process");
  }
  output_.CloseWriteEnd();
  errors_.CloseWriteEnd();
  AddGroupToKill(group_);
}

ChildProcess::Implementation::~Implementation() {
  EndGroup();
  RemoveGroupToKill(group_);
}

std::optional<ChildProcess::End> ChildProcess::Implementation::Wait(milliseconds time) {
  const Clock::time_point deadline = Clock::now() + time;
  do {
    Read(kLookUp);
    if (HasEnded()) {
      Read(milliseconds(0));
      return WIFEXITED(*status_) ? End{.status = WEXITSTATUS(*status_)} : End{.by_signal = true};
    }
  } while (Clock::now() < deadline);
  return std::nullopt;
}

void ChildProcess::Implementation::Read(milliseconds timeout) {
  // A closed one is passed over.
  std::array<pollfd, 2> ready{pollfd{output_.read_end(), POLLIN, 0},
                              pollfd{errors_.read_end(), POLLIN, 0}};
  ::poll(ready.data(), ready.size(), static_cast<int>(timeout.count()));
  if (ready[0].revents != 0) {
    output_.Read();
  }
  if (ready[1].revents != 0) {
    errors_.Read();
  }
}

bool ChildProcess::Implementation::HasEnded() {
  int status = 0;
  if (!status_ && ::waitpid(group_, &status, WNOHANG) == group_) {
    status_ = status;
  }
  return status_.has_value();
}

/// What the command started may outlive it.
void ChildProcess::Implementation::EndGroup() const {
  for (const int signal : {SIGTERM, SIGKILL}) {
    ::kill(-group_, signal);
    if (AwaitEndOfGroup(Clock::now() + kGrace)) {
      return;
    }
  }
}

bool ChildProcess::Implementation::AwaitEndOfGroup(Clock::time_point deadline) const {
  for (;;) {
    const pid_t ended = ::waitpid(-group_, nullptr, WNOHANG);
    if (ended < 0) {
      return true;
    }
    if (Clock::now() >= deadline) {
      return false;
    }
    if (ended == 0) {
      std::this_thread::sleep_for(kShortWait);
    }
  }
}

ChildProcess::ChildProcess(const std::string& command)
    : implementation_(std::make_unique<Implementation>(command)) {}

ChildProcess::~ChildProcess() = default;

std::optional<ChildProcess::End> ChildProcess::Wait(milliseconds time) {
  return implementation_->Wait(time);
}

std::string ChildProcess::TakeOutput() { return implementation_->TakeOutput(); }

std::string ChildProcess::TakeErrors() { return implementation_->TakeErrors(); }

bool OpenOnDesktop(const std::string& file) {
  std::string program = "xdg-open";
  std::string argument = file;
  std::array<char*, 3> arguments{program.data(), argument.data(), nullptr};
  pid_t process = 0;
  int status = 0;
  // It hands the file to the desktop and ends; where there is no desktop, it may be the browser.
  return ::posix_spawnp(&process, program.c_str(), nullptr, nullptr, arguments.data(), environ) ==
             0 &&
         ::waitpid(process, &status, 0) == process && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace quillmark::host
