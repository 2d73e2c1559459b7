// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "host/tool/child_process.h"
#include "host/tool/choice.h"
#include "host/tool/command.h"
#include "host/tool/number.h"
#include "quillmark/error.h"
#include "quillmark/host/bytes.h"
#include "quillmark/host/conformance.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

/// The process of a runner cannot be used any further: it has ended, is silent, or writes what is
/// not of the protocol.
class RunnerProcessError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Another process that runs documents, in any language. It speaks lines of text: this one writes
/// to its standard input and reads its standard output, as the page "Testing a runner" says. It
/// keeps the standard error.
///
/// Threads: used by one thread at a time.
class RunnerProcess {
 public:
  /// Starts the program, which is looked for in PATH. Raises RunnerProcessError.
  explicit RunnerProcess(const std::vector<std::string>& command);

  /// Has the process run a document, which then holds what it made of it. Raises
  /// RunnerProcessError, also for each task after such a failure.
  void Run(const RunnerTask& task);

  /// Why the process could not be used; empty as long as it can.
  [[nodiscard]] const std::string& failure() const { return failure_; }

 private:
  void Converse(const RunnerTask& task);
  void WriteLine(std::string_view line);
  [[nodiscard]] std::string ReadLine();
  [[nodiscard]] std::string HowItEnded();

  std::optional<PipedProcess> process_;
  /// What was read and is not a whole line yet.
  std::string begun_;
  std::string failure_;
};

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

constexpr NumberRange kCountRange = {1, 10'000};
constexpr NumberRange kPatienceRange = {20, 3'600'000};
constexpr NumberRange kLimitRange = {40, 86'400'000};

struct ConformanceOptions {
  std::vector<std::string> command;
  RunnerUnderTest runner;
};

std::vector<RuleResult> Check(ConformanceOptions& options) {
  RunnerProcess process(options.command);
  options.runner.run = [&process](const RunnerTask& task) { process.Run(task); };
  std::vector<RuleResult> results = CheckRunner(options.runner);
  if (!process.failure().empty()) {
    throw RunnerProcessError(process.failure());
  }
  return results;
}

std::vector<RuleResult> ResultsOf(ConformanceOptions& options) {
  try {
    return Check(options);
  } catch (const RunnerProcessError& error) {
    throw ToolError(ExitCode::kUnavailable,
                    fmt::format("runner \"{}\": {}", options.command.front(), error.what()),
                    "run it by hand: it reads lines from its standard input and answers each");
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError("--pending-limit", error.what());
  }
}

std::uint64_t CountOf(const std::vector<RuleResult>& results, RuleVerdict verdict) {
  const auto has = [verdict](const RuleResult& result) { return result.verdict == verdict; };
  return static_cast<std::uint64_t>(std::count_if(results.begin(), results.end(), has));
}

const char* NameOf(RuleVerdict verdict) {
  switch (verdict) {
    case RuleVerdict::kPassed:
      return "passed";
    case RuleVerdict::kFailed:
      return "failed";
    case RuleVerdict::kNotClaimed:
      break;
  }
  return "not-claimed";
}

void Report(const RuleResult& result, Reporter& reporter) {
  Json members = {{"rule", result.rule},
                  {"name", result.name},
                  {"form", NameOf(result.form)},
                  {"verdict", NameOf(result.verdict)}};
  if (result.verdict == RuleVerdict::kFailed) {
    members["test"] = result.test;
    members["expected"] = result.expected;
    members["found"] = result.found;
  }
  reporter.Event(EventKind::kRule, members);
}

void Run(ConformanceOptions& options, Reporter& reporter) {
  const std::vector<RuleResult> results = ResultsOf(options);
  std::istringstream report(ReportOf(results));
  for (std::string line; std::getline(report, line);) {
    reporter.Line(line);
  }
  for (const RuleResult& result : results) {
    Report(result, reporter);
  }
  const std::uint64_t failed = CountOf(results, RuleVerdict::kFailed);
  if (failed > 0) {
    throw ToolError(
        ExitCode::kDifference, fmt::format("the runner breaks {}", CountText(failed, "rule")),
        "read what was expected and found; the rules are on the page \"The documents\"");
  }
  reporter.Event(EventKind::kDone, {{"passed", CountOf(results, RuleVerdict::kPassed)},
                                    {"not_claimed", CountOf(results, RuleVerdict::kNotClaimed)}});
}

void AddClaims(CLI::App& app, RunnerUnderTest& runner) {
  AddChoice<TransportForm>(
      app, "--form",
      {{NameOf(TransportForm::kPlainCan), TransportForm::kPlainCan},
       {NameOf(TransportForm::kGateway), TransportForm::kGateway},
       {NameOf(TransportForm::kKLine), TransportForm::kKLine}},
      [&runner](TransportForm form) { runner.forms = {form}; },
      "the only form that the runner can run; default all three");
  app.add_flag("--can-stop", runner.can_stop, "the runner asks whether it is to stop");
  app.add_flag("--can-repeat", runner.can_repeat, "the runner sends requests again where it may");
  AddTime(app, "--p2", runner.timing.p2, kPatienceRange, "how long it waits for a frame");
  AddTime(app, "--p2-star", runner.timing.p2_star, kPatienceRange,
          "the same after \"response pending\"");
  AddNumber(app, "--max-pending", runner.timing.max_pending, kCountRange,
            "how often it accepts \"response pending\" for one request; default 1000");
  AddTime(app, "--pending-limit", runner.timing.pending_limit, kLimitRange,
          "for how long altogether, at least P2 and P2* together");
  AddNumber(app, "--max-wait-frames", runner.timing.max_wait_frames, kCountRange,
            "how many ISO 15765-2 flow controls \"wait\" it accepts in a row; default 10");
}

}  // namespace

void AddConformanceCommand(CLI::App& app, Command& command) {
  CLI::App& conformance = *app.add_subcommand(
      "conformance", "play the ECU against another program that runs documents, rule by rule");
  const auto options = std::make_shared<ConformanceOptions>();
  conformance
      .add_option("COMMAND", options->command,
                  "the runner and its arguments, behind -- if one begins with a dash")
      ->required();
  AddClaims(conformance, options->runner);
  AddJsonOption(conformance, command);
  conformance.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
