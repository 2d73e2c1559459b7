// SPDX-License-Identifier: MIT
#include "host/tool/command_line.h"

#include <fmt/format.h>

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/tool/link_options.h"
#include "quillmark/version.h"

namespace quillmark::host {
namespace {

const CLI::App* CommandOf(const CLI::App& app) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  return commands.empty() ? nullptr : commands.front();
}

std::string QuotedOr(const std::vector<std::string>& words, const char* nothing) {
  return words.empty() ? nothing : fmt::format("\"{}\"", words.front());
}

#if defined(_WIN32)
/// Of a command that other systems have; empty for any other word.
std::string WhyItIsMissing(const std::string& command) {
  if (command == "history") {
    return "there is no record of runs on Windows; --artifacts keeps what one run did";
  }
  return command == "conformance" ? "runners are tested on Linux" : "";
}
#else
std::string WhyItIsMissing(const std::string& /*command*/) { return ""; }
#endif

std::string AboutTheCommand(const CLI::App& app) {
  if (const std::vector<std::string> words = app.remaining(); !words.empty()) {
    const std::string reason = WhyItIsMissing(words.front());
    if (!reason.empty()) {
      return fmt::format("{}: {}", words.front(), reason);
    }
  }
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return fmt::format("expected a command, one of {}; found {}", fmt::join(names, ", "),
                     QuotedOr(app.remaining(), "none"));
}

/// Something was left over or left out.
std::string AboutArguments(const CLI::App& app, const CLI::App& command, const CLI::Error& error) {
  const std::vector<std::string> extra = app.remaining(true);
  const auto option = std::find_if(extra.begin(), extra.end(),
                                   [](const std::string& word) { return word.starts_with('-'); });
  if (option != extra.end()) {
    return fmt::format("{}: there is no option \"{}\"", command.get_name(), *option);
  }
  if (!extra.empty()) {
    return fmt::format("{}: expected no further argument, found \"{}\"", command.get_name(),
                       extra.front());
  }
  for (const CLI::Option* wanted : command.get_options()) {
    if (wanted->get_required() && wanted->count() == 0) {
      return fmt::format("{}: {} is missing: {}", command.get_name(), wanted->get_name(),
                         wanted->get_description());
    }
  }
  return error.what();
}

/// The parser's own text begins with the name of the option.
std::string AboutValues(const CLI::App& command, const CLI::Error& error) {
  const std::string text = error.what();
  const CLI::Option* option = command.get_option_no_throw(text.substr(0, text.find(':')));
  if (option == nullptr) {
    return text;
  }
  return fmt::format("{}: expected {}, found {}", option->get_name(), option->get_type_name(),
                     option->get_items_expected_min() > 1 ? "fewer words" : "nothing");
}

std::string Explanation(const CLI::App& app, const CLI::Error& error) {
  const CLI::App* const command = CommandOf(app);
  if (command == nullptr) {
    return AboutTheCommand(app);
  }
  if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
      dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    return AboutArguments(app, *command, error);
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return AboutValues(*command, error);
  }
  return error.what();
}

/// Lets no option have an empty value, as of a variable of a script that is not set: a backup would
/// silently not be made.
void RefuseEmptyValues(CLI::App& command) {
  for (CLI::Option* const option : command.get_options()) {
    if (option->get_items_expected_max() == 0) {
      continue;
    }
    option->check([](const std::string& value) {
      return value.empty() ? "expected a value, found nothing" : std::string();
    });
  }
}

}  // namespace

std::unique_ptr<CLI::App> MakeCommandLine(Command& command) {
  auto app = std::make_unique<CLI::App>("Reprograms ECUs: plans, writes, reads back and explains.",
                                        "quillmark");
  // What begins with a slash is a path on Windows too: a command line means the same everywhere.
  app->allow_windows_style_options(false);
  app->set_version_flag("--version", std::string("quillmark ") + Version());
  app->require_subcommand(1);
  // On Windows the parser would take the path /images/a.hex for an option.
  app->allow_windows_style_options(false);
  app->footer(ExitCodeHelp());
  AddFlashCommand(*app, command);
  AddVerifyCommand(*app, command);
  AddReadCommand(*app, command);
  AddIdentifyCommand(*app, command);
  AddProfileCommand(*app, command);
  AddPlanCommand(*app, command);
  AddCallsCommand(*app, command);
  AddDecodeCommand(*app, command);
  AddReportCommand(*app, command);
  AddDevicesCommand(*app, command);
#if !defined(_WIN32)
  AddHistoryCommand(*app, command);
#endif
  AddSimulateCommand(*app, command);
  AddConformanceCommand(*app, command);
#if !defined(_WIN32)
  AddStationCommand(*app, command);
#endif
  for (CLI::App* const each : app->get_subcommands([](const CLI::App*) { return true; })) {
    RefuseEmptyValues(*each);
  }
  return app;
}

std::vector<std::string> ArgumentsOf(const std::vector<std::string>& words) {
  constexpr std::string_view kOption = "--flow-control";
  const std::string in_one_word = fmt::format("{}={}", kOption, kAutoFlowControl);
  std::vector<std::string> arguments;
  std::string_view before;
  for (const std::string& argument :
       std::span(words).subspan(std::min<std::size_t>(words.size(), 1))) {
    arguments.push_back(argument);
    if ((before == kOption && argument == kAutoFlowControl) || argument == in_one_word) {
      arguments.emplace_back(kAutoFlowControl);
    }
    before = argument;
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

void AddJsonOption(CLI::App& app, Command& command) {
  app.add_flag("--json", command.json, "print a line of JSON for each event");
}

FailureReport UsageReport(const CLI::App& app, const CLI::Error& error) {
  const CLI::App* const command = CommandOf(app);
  std::string next = fmt::format("{}{} --help lists what there is", app.get_name(),
                                 command == nullptr ? "" : ' ' + command->get_name());
  const CLI::Option* const profile =
      command == nullptr ? nullptr : command->get_option_no_throw("--profile");
  if (profile != nullptr && profile->count() > 0 && !profile->results().front().empty()) {
    next += fmt::format("; look at the options in {} too", profile->results().front());
  }
  return {ExitCode::kUsage, Explanation(app, error), {"next      " + next}, {{"next", next}}};
}

}  // namespace quillmark::host
