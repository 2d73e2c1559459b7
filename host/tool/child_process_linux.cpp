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
/// For a program that was told to end.
constexpr milliseconds kTimeToEnd{1000};
constexpr milliseconds kPollInterval{10};
/// As much as a pipe holds.
constexpr std::size_t kMostText = 65536;
constexpr int kClosed = -1;
constexpr int kFirstOwnDescriptor = 3;
constexpr int kNotFound = 127;

[[noreturn]] void RaiseErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// `status` is as waitpid has it.
ProcessEnd EndOf(int status) {
  return WIFEXITED(status) ? ProcessEnd{.status = WEXITSTATUS(status)}
                           : ProcessEnd{.by_signal = true, .status = WTERMSIG(status)};
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

/// Both ends of a pipe, closed in programs that are started.
struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
      RaiseErrno("there is no pipe");
    }
    read_end = ends[0];
    write_end = ends[1];
  }
  int read_end = -1;
  int write_end = -1;
};

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
  const Pipe ends;
  ::fcntl(ends.read_end, F_SETFL, O_NONBLOCK);
  read_end_ = ends.read_end;
  write_end_ = ends.write_end;
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

  [[nodiscard]] std::optional<ProcessEnd> Wait(milliseconds time);
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

std::optional<ProcessEnd> ChildProcess::Implementation::Wait(milliseconds time) {
  const Clock::time_point deadline = Clock::now() + time;
  do {
    Read(kLookUp);
    if (HasEnded()) {
      Read(milliseconds(0));
      return EndOf(*status_);
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

std::optional<ProcessEnd> ChildProcess::Wait(milliseconds time) {
  return implementation_->Wait(time);
}

std::string ChildProcess::TakeOutput() { return implementation_->TakeOutput(); }

std::string ChildProcess::TakeErrors() { return implementation_->TakeErrors(); }

class PipedProcess::Implementation {
 public:
  explicit Implementation(const std::vector<std::string>& command);
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  Implementation(Implementation&&) = delete;
  Implementation& operator=(Implementation&&) = delete;
  ~Implementation();

  void Write(std::string_view text) const;
  [[nodiscard]] std::optional<std::string> Read(milliseconds time) const;
  [[nodiscard]] ProcessEnd AwaitEnd();

 private:
  pid_t process_ = 0;
  int input_ = kClosed;
  int output_ = kClosed;
};

PipedProcess::Implementation::Implementation(const std::vector<std::string>& command) {
  const Pipe input;
  const Pipe output;
  posix_spawn_file_actions_t files{};
  ::posix_spawn_file_actions_init(&files);
  ::posix_spawn_file_actions_adddup2(&files, input.read_end, STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&files, output.write_end, STDOUT_FILENO);
  posix_spawnattr_t attributes{};
  ::posix_spawnattr_init(&attributes);
  sigset_t defaults{};
  ::sigemptyset(&defaults);
  ::sigaddset(&defaults, SIGPIPE);
  ::sigaddset(&defaults, SIGXFSZ);
  ::posix_spawnattr_setsigdefault(&attributes, &defaults);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (const std::string& word : command) {
    words.push_back(const_cast<char*>(word.c_str()));  // execve changes none
  }
  words.push_back(nullptr);
  const int error =
      ::posix_spawnp(&process_, words.front(), &files, &attributes, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&files);
  ::posix_spawnattr_destroy(&attributes);
  ::close(input.read_end);
  ::close(output.write_end);
  input_ = input.write_end;
  output_ = output.read_end;
  if (error != 0) {
    ::close(input_);
    ::close(output_);
    throw std::system_error(error, std::generic_category());
  }
}

PipedProcess::Implementation::~Implementation() {
  ::close(input_);
  ::close(output_);
  if (process_ != 0) {
    static_cast<void>(AwaitEnd());
  }
}

void PipedProcess::Implementation::Write(std::string_view text) const {
  while (!text.empty()) {
    const ssize_t size = ::write(input_, text.data(), text.size());
    if (size < 0 && errno == EINTR) {
      continue;
    }
    if (size < 0) {
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(size));
  }
}

std::optional<std::string> PipedProcess::Implementation::Read(milliseconds time) const {
  pollfd ready{output_, POLLIN, 0};
  if (::poll(&ready, 1, static_cast<int>(time.count())) == 0) {
    return std::nullopt;
  }
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t size = ::read(output_, buffer.data(), buffer.size());
    if (size >= 0) {
      return std::string(buffer.data(), static_cast<std::size_t>(size));
    }
    if (errno != EINTR) {
      RaiseErrno("");
    }
  }
}

ProcessEnd PipedProcess::Implementation::AwaitEnd() {
  int status = 0;
  for (auto waited = milliseconds(0); waited < kTimeToEnd; waited += kPollInterval) {
    if (::waitpid(process_, &status, WNOHANG) != 0) {
      process_ = 0;
      return EndOf(status);
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  ::kill(process_, SIGKILL);
  ::waitpid(std::exchange(process_, 0), &status, 0);
  return EndOf(status);
}

PipedProcess::PipedProcess(const std::vector<std::string>& command)
    : implementation_(std::make_unique<Implementation>(command)) {}

PipedProcess::~PipedProcess() = default;

void PipedProcess::Write(std::string_view text) { implementation_->Write(text); }

std::optional<std::string> PipedProcess::Read(milliseconds time) {
  return implementation_->Read(time);
}

ProcessEnd PipedProcess::AwaitEnd() { return implementation_->AwaitEnd(); }

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
