// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/tool/choice.h"
#include "host/tool/command.h"
#include "host/tool/number.h"
#include "host/tool/runner_process.h"
#include "quillmark/host/conformance.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

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

void Run(ConformanceOptions& options, Reporter& reporter) {
  const std::vector<RuleResult> results = ResultsOf(options);
  std::istringstream report(ReportOf(results));
  for (std::string line; std::getline(report, line);) {
    reporter.Line(line);
  }
  const auto failed = std::count_if(results.begin(), results.end(), [](const RuleResult& result) {
    return result.verdict == RuleVerdict::kFailed;
  });
  if (failed > 0) {
    throw ToolError(
        ExitCode::kDifference,
        fmt::format("the runner breaks {}", CountText(static_cast<std::uint64_t>(failed), "rule")),
        "read what was expected and found; the rules are on the page \"The documents\"");
  }
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
  conformance.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
