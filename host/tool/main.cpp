// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "host/tool/command_line.h"
#include "host/tool/interrupt.h"
#include "host/tool/printable_output.h"
#include "host/tool/terminal.h"

namespace quillmark::host {
namespace {

std::unique_ptr<Reporter> ReporterFor(const Command& command) {
  if (command.json) {
    return MakeReporter(ReportStyle::kJson, std::cout);
  }
  return MakeReporter(
      IsTerminal(StandardStream::kOutput) ? ReportStyle::kTerminal : ReportStyle::kPlain, std::cout,
      [] { return TerminalColumns().value_or(kUsualColumns); });
}

int ToStatus(ExitCode code) { return static_cast<int>(code); }

int ReportFailure(const FailureReport& report, Reporter& reporter) {
  reporter.EndProgress();
  Json event = {{"exit", ToStatus(report.code)}, {"message", report.message}};
  event.update(report.details);
  reporter.Event(EventKind::kError, event);
  std::cerr << "quillmark: " << OneLine(report.message) << std::endl;
  for (const std::string& line : report.lines) {
    std::cerr << OneLine(line) << std::endl;
  }
  return ToStatus(report.code);
}

/// Success, unless standard output could not be written. `effect` is what was done all the same;
/// null if nothing.
int EndOutput(const char* effect) {
  if (std::cout.flush()) {
    return ToStatus(ExitCode::kDone);
  }
  std::cerr << "quillmark: cannot write to standard output"
            << (effect == nullptr ? "" : std::string("; ") + effect) << std::endl;
  return ToStatus(ExitCode::kInputOutput);
}

int Run(const CLI::App& app, const Command& command) {
  const auto reporter = ReporterFor(command);
  try {
    command.run(*reporter);
  } catch (const CLI::Error& error) {
    // Options that depend on one another are only found wrong by the command.
    return ReportFailure(UsageReport(app, error), *reporter);
  } catch (...) {
    return ReportFailure(ReportCurrentException(Interrupted()), *reporter);
  }
  return EndOutput(command.effect);
}

int Main(int argc, char** argv) {
  LetWritingFail();
  const TerminalOutput terminal;
  const std::vector<std::string> words = ProgramArguments(argc, argv);
  const Charset charset = CharsetOfEnvironment();
  const PrintableOutput out(std::cout, charset);
  const PrintableOutput err(std::cerr, charset);
  Command command;
  const auto app = MakeCommandLine(command);
  try {
    app->parse(ArgumentsOf(words));
  } catch (const CLI::Error& error) {
    if (error.get_exit_code() == 0) {  // --help, --version
      app->exit(error);
      return EndOutput(nullptr);
    }
    // The parser may have stopped before it came to the option.
    command.json = command.json || std::find(words.begin(), words.end(), "--json") != words.end();
    return ReportFailure(UsageReport(*app, error), *ReporterFor(command));
  } catch (...) {  // a profile that cannot be used
    return ReportFailure(ReportCurrentException(Interrupted()), *ReporterFor(command));
  }
  return Run(*app, command);
}

}  // namespace
}  // namespace quillmark::host

int main(int argc, char** argv) {
  try {
    return quillmark::host::Main(argc, argv);
  } catch (...) {
    // Memory ran out outside of any command: too little is left to say more.
    std::fputs("quillmark: internal error\n", stderr);
    return static_cast<int>(quillmark::host::ExitCode::kInternal);
  }
}
