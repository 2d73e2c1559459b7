// SPDX-License-Identifier: MIT
#include "host/tool/runner_process.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <thread>
#include <utility>

#include "quillmark/error.h"
#include "quillmark/host/bytes.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// For a process that computes; simulated time costs none.
constexpr std::chrono::seconds kMostSilence{60};
constexpr std::chrono::seconds kTimeToEnd{1};
constexpr milliseconds kPollInterval{10};
constexpr std::size_t kLongestLine = 1U << 24U;
constexpr std::size_t kMostShown = 60;
/// How often a process may go on after its bus has failed.
constexpr int kMostErrors = 1000;

[[noreturn]] void RaiseSystemError(const std::string& what, int number) {
  throw RunnerProcessError(fmt::format("{}: {}", what, std::strerror(number)));
}

/// Both ends of a pipe, closed in programs that are started.
struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
      RaiseSystemError("there is no pipe", errno);
    }
    read_end = ends[0];
    write_end = ends[1];
  }
  int read_end = -1;
  int write_end = -1;
};

/// A document as one line: the ends of its lines have no meaning.
std::string OneLineOf(const DOMDocument& document) {
  std::string text = document.xml();
  std::erase_if(text, [](char character) { return character == '\r' || character == '\n'; });
  return text;
}

[[noreturn]] void Refuse(std::string_view line) {
  throw RunnerProcessError(fmt::format(
      "expected select, send, receive, wait, break, now, stop or done with their arguments, found "
      "\"{}\"",
      line.substr(0, kMostShown)));
}

/// The words of a line behind its first, which are numbers.
class Arguments {
 public:
  Arguments(std::string_view line, std::string_view text) : line_(line), text_(text) {}

  [[nodiscard]] std::string_view Rest() const { return text_; }
  [[nodiscard]] std::uint32_t Number() {
    const std::size_t end = std::min(text_.find(' '), text_.size());
    const std::string_view word = text_.substr(0, end);
    std::uint32_t number = 0;
    const auto [last, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{} || last != word.data() + word.size()) {
      Refuse(line_);
    }
    text_.remove_prefix(std::min(end + 1, text_.size()));
    return number;
  }
  [[nodiscard]] milliseconds Time() { return milliseconds(Number()); }
  [[nodiscard]] Bytes Frame() const {
    const std::optional<Bytes> frame = BytesOfHex(text_);
    if (!frame || frame->empty()) {
      Refuse(line_);
    }
    return *frame;
  }

 private:
  std::string_view line_;
  std::string_view text_;
};

using Action = std::function<std::string(const RunnerTask&, Arguments&)>;

std::string Receive(const RunnerTask& task, Arguments& arguments) {
  const std::optional<Bytes> frame = task.bus.Receive(arguments.Time());
  return frame ? "frame " + HexOf(*frame) : "silence";
}

/// What a process may ask for while it runs a document.
const std::map<std::string_view, Action>& Actions() {
  static const std::map<std::string_view, Action> kActions = {
      {"select",
       [](const RunnerTask& task, Arguments& arguments) {
         const std::uint32_t receive = arguments.Number();
         task.bus.Select({task.form, receive, arguments.Number()});
         return "ok";
       }},
      {"send",
       [](const RunnerTask& task, Arguments& arguments) {
         task.bus.Send(arguments.Frame());
         return "ok";
       }},
      {"receive", Receive},
      {"wait",
       [](const RunnerTask& task, Arguments& arguments) {
         task.bus.Wait(arguments.Time());
         return "ok";
       }},
      {"break",
       [](const RunnerTask& task, Arguments& arguments) {
         task.bus.Break(arguments.Time());
         return "ok";
       }},
      {"now",
       [](const RunnerTask& task, Arguments&) {
         const auto now = std::chrono::duration_cast<milliseconds>(task.bus.Now());
         return "now " + std::to_string(now.count());
       }},
      {"stop",
       [](const RunnerTask& task, Arguments&) { return task.stop_requested() ? "yes" : "no"; }},
  };
  return kActions;
}

void TakeDocument(const RunnerTask& task, std::string_view text) {
  try {
    task.document.loadXML(text);
  } catch (const Error& error) {
    throw RunnerProcessError(fmt::format("expected done with the document, found \"done {}\": {}",
                                         text.substr(0, kMostShown), error.Description()));
  }
}

}  // namespace

RunnerProcess::RunnerProcess(const std::vector<std::string>& command) : name_(command.at(0)) {
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
      ::posix_spawnp(&process_, name_.c_str(), &files, &attributes, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&files);
  ::posix_spawnattr_destroy(&attributes);
  ::close(input.read_end);
  ::close(output.write_end);
  input_ = input.write_end;
  output_ = output.read_end;
  if (error != 0) {
    ::close(input_);
    ::close(output_);
    RaiseSystemError(fmt::format("\"{}\" cannot be started", name_), error);
  }
}

RunnerProcess::~RunnerProcess() {
  ::close(input_);
  ::close(output_);
  if (process_ != 0) {
    static_cast<void>(AwaitEnd());
  }
}

void RunnerProcess::Run(const RunnerTask& task) {
  if (!failure_.empty()) {
    throw RunnerProcessError(failure_);
  }
  try {
    Converse(task);
  } catch (const RunnerProcessError& error) {
    failure_ = error.what();
    throw;
  }
}

void RunnerProcess::Converse(const RunnerTask& task) {
  WriteLine(fmt::format("run {} {} {}", NameOf(task.form), task.tries, OneLineOf(task.document)));
  for (int errors = 0; errors < kMostErrors;) {
    const std::string line = ReadLine();
    const std::size_t end = std::min(line.find(' '), line.size());
    const std::string_view word = std::string_view(line).substr(0, end);
    const std::string_view rest = std::string_view(line).substr(std::min(end + 1, line.size()));
    if (word == "done") {
      return TakeDocument(task, rest);
    }
    const auto action = Actions().find(word);
    if (action == Actions().end()) {
      Refuse(line);
    }
    Arguments arguments(line, rest);
    try {
      WriteLine(action->second(task, arguments));
    } catch (const BusError& error) {
      ++errors;
      WriteLine(std::string("error ") + error.what());
    }
  }
  throw RunnerProcessError("it goes on after its bus has failed");
}

void RunnerProcess::WriteLine(std::string_view line) const {
  const std::string text = std::string(line) + '\n';
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t size = ::write(input_, text.data() + written, text.size() - written);
    if (size < 0 && errno == EINTR) {
      continue;
    }
    if (size < 0) {
      return;  // It has ended; what it wrote before, or its status, tells more.
    }
    written += static_cast<std::size_t>(size);
  }
}

std::string RunnerProcess::ReadLine() {
  std::array<char, 4096> buffer{};
  for (std::size_t looked_at = 0;;) {
    const std::size_t end = begun_.find('\n', looked_at);
    if (end != std::string::npos) {
      std::string line = begun_.substr(0, end);
      begun_.erase(0, end + 1);
      if (line.ends_with('\r')) {
        line.pop_back();
      }
      return line;
    }
    if (begun_.size() > kLongestLine) {
      throw RunnerProcessError("it writes a line that does not end");
    }
    looked_at = begun_.size();
    AwaitOutput();
    const ssize_t size = ::read(output_, buffer.data(), buffer.size());
    if (size == 0) {
      throw RunnerProcessError(HowItEnded());
    }
    if (size < 0 && errno != EINTR) {
      RaiseSystemError("its output cannot be read", errno);
    }
    begun_.append(buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
  }
}

void RunnerProcess::AwaitOutput() const {
  pollfd ready{output_, POLLIN, 0};
  if (::poll(&ready, 1, static_cast<int>(milliseconds(kMostSilence).count())) == 0) {
    throw RunnerProcessError(fmt::format("it has written no line for {} s", kMostSilence.count()));
  }
}

std::string RunnerProcess::HowItEnded() {
  constexpr std::string_view kWhen = "before it had written done";
  const int status = AwaitEnd();
  return WIFEXITED(status) ? fmt::format("it ended with status {} {}", WEXITSTATUS(status), kWhen)
                           : fmt::format("it was ended by signal {} {}", WTERMSIG(status), kWhen);
}

int RunnerProcess::AwaitEnd() {
  int status = 0;
  for (auto waited = milliseconds(0); waited < kTimeToEnd; waited += kPollInterval) {
    if (::waitpid(process_, &status, WNOHANG) != 0) {
      process_ = 0;
      return status;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  ::kill(process_, SIGKILL);
  ::waitpid(std::exchange(process_, 0), &status, 0);
  return status;
}

}  // namespace quillmark::host
