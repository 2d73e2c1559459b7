// SPDX-License-Identifier: MIT
#include "host/tool/runner_process.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <system_error>
#include <utility>

#include "quillmark/error.h"
#include "quillmark/host/bytes.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// For a process that computes; simulated time costs none.
constexpr std::chrono::seconds kMostSilence{60};
constexpr std::size_t kLongestLine = 1U << 24U;
constexpr std::size_t kMostShown = 60;
/// How often a process may go on after its bus has failed.
constexpr int kMostErrors = 1000;

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

RunnerProcess::RunnerProcess(const std::vector<std::string>& command) {
  try {
    process_.emplace(command);
  } catch (const std::system_error& error) {
    throw RunnerProcessError(
        fmt::format("\"{}\" cannot be started: {}", command.at(0), error.code().message()));
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
  } catch (const std::system_error& error) {
    failure_ = "its output cannot be read: " + error.code().message();
    throw RunnerProcessError(failure_);
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

void RunnerProcess::WriteLine(std::string_view line) {
  // If it has ended, what it wrote before, or its status, tells more.
  process_->Write(std::string(line) + '\n');
}

std::string RunnerProcess::ReadLine() {
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
    const std::optional<std::string> text = process_->Read(kMostSilence);
    if (!text) {
      throw RunnerProcessError(
          fmt::format("it has written no line for {} s", kMostSilence.count()));
    }
    if (text->empty()) {
      throw RunnerProcessError(HowItEnded());
    }
    begun_ += *text;
  }
}

std::string RunnerProcess::HowItEnded() {
  constexpr std::string_view kWhen = "before it had written done";
  const ProcessEnd end = process_->AwaitEnd();
  return end.by_signal ? fmt::format("it was ended by signal {} {}", end.status, kWhen)
                       : fmt::format("it ended with status {} {}", end.status, kWhen);
}

}  // namespace quillmark::host
