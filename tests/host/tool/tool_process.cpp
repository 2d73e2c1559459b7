// SPDX-License-Identifier: MIT
#include "tests/host/tool/tool_process.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <utmp.h>

#include <array>
#include <chrono>
#include <csignal>
#include <thread>

namespace quillmark::host::testing {
namespace {

void Redirect(const std::string& file, int flags, int descriptor) {
  const int opened = ::open(file.c_str(), flags, 0600);
  ::dup2(opened, descriptor);
  ::close(opened);
}

[[noreturn]] void Execute(const std::vector<std::string>& arguments) {
  std::vector<char*> pointers = {const_cast<char*>(QUILLMARK_TOOL)};
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  ::execv(QUILLMARK_TOOL, pointers.data());
  ::_exit(127);
}

void Connect(int end, ToolProcess::Output output, const std::string& input_file,
             const std::string& error_file) {
  constexpr int kNewFile = O_WRONLY | O_CREAT | O_TRUNC;
  switch (output) {
    case ToolProcess::Output::kWholeTerminal:
      ::login_tty(end);
      return;
    case ToolProcess::Output::kQuestionOnTerminal:
      ::login_tty(end);
      return Redirect(error_file, kNewFile, STDOUT_FILENO);
    default:
      Redirect(input_file, O_RDONLY, STDIN_FILENO);
      Redirect(error_file, kNewFile, STDERR_FILENO);
      ::dup2(end, STDOUT_FILENO);
      ::close(end);
  }
}

struct Ends {
  int test;
  int tool;
};

Ends OpenOutput(ToolProcess::Output output, unsigned short columns) {
  Ends ends{};
  if (output != ToolProcess::Output::kPipe) {
    winsize size{24, columns, 0, 0};
    EXPECT_EQ(::openpty(&ends.test, &ends.tool, nullptr, nullptr, &size), 0);
    return ends;
  }
  std::array<int, 2> pipe{};
  EXPECT_EQ(::pipe(pipe.data()), 0);
  return {pipe[0], pipe[1]};
}

}  // namespace

ToolProcess::ToolProcess(const std::vector<std::string>& arguments, const std::string& input_file,
                         const std::string& error_file, Output output, unsigned short columns) {
  const Ends ends = OpenOutput(output, columns);
  descriptor_ = ends.test;
  process_ = ::fork();
  if (process_ == 0) {
    ::close(ends.test);
    Connect(ends.tool, output, input_file, error_file);
    Execute(arguments);
  }
  ::close(ends.tool);
}

ToolProcess::~ToolProcess() {
  if (process_ != 0) {
    Signal(SIGKILL);
    Wait();
  }
}

bool ToolProcess::ReadUntil(const std::string& text) {
  while (output_.find(text) == std::string::npos) {
    if (!ReadMore()) {
      return false;
    }
  }
  return true;
}

void ToolProcess::Signal(int signal) const { ::kill(process_, signal); }

void ToolProcess::Write(const std::string& text) const {
  EXPECT_EQ(::write(descriptor_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void ToolProcess::Resize(unsigned short columns) const {
  const winsize size{24, columns, 0, 0};
  EXPECT_EQ(::ioctl(descriptor_, TIOCSWINSZ, &size), 0);
}

void ToolProcess::CloseOutput() {
  ::close(descriptor_);
  descriptor_ = -1;
}

int ToolProcess::Wait() {
  if (descriptor_ != -1) {
    while (ReadMore()) {
    }
    CloseOutput();
  }
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

bool ToolProcess::ReadMore() {
  std::array<char, 4096> buffer{};
  const ssize_t size = ::read(descriptor_, buffer.data(), buffer.size());
  if (size <= 0) {
    return false;
  }
  output_.append(buffer.data(), static_cast<std::size_t>(size));
  return true;
}

ToolResult ToolTest::Run(const std::vector<std::string>& arguments, const std::string& input) {
  const std::string input_file = folder_.Write("stdin", input);
  ToolProcess process(arguments, input_file, folder_.Path("stderr"));
  const int status = process.Wait();
  return {status, process.output(), folder_.Read("stderr")};
}

void ToolTest::InterruptThreeTimes(const ToolProcess& process) {
  // Two signals of one kind that are on their way together would be one.
  process.Signal(SIGINT);
  process.Signal(SIGTERM);
  while (folder_.Read("stderr").find("once more ends at once") == std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  process.Signal(SIGTERM);
}

}  // namespace quillmark::host::testing
