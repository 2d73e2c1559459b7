// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "host/tool/pages/pages.h"

namespace quillmark::host {
namespace {

// bash cuts words at '=' and ':' as well: "--form=can" is three of them, and so is
// "slcan:/dev/ttyS0".
constexpr std::string_view kBegin = R"(
  local current=${COMP_WORDS[COMP_CWORD]} command='' word
  local before=("${COMP_WORDS[@]:1:COMP_CWORD-1}")
  if [[ $current == [=:] ]]; then
    before+=("$current")
    current=''
  fi
  if [[ ${before[*]: -1} == = ]]; then
    unset 'before[-1]'
  fi
  for word in "${before[@]}"; do
    if [[ $word != -* ]]; then
      command=$word
      break
    fi
  done
  local previous=${before[*]: -1} earlier=${before[*]: -2:1}

  # What may come here: an argument of the command, or the value of the preceding option.
  local options='' argument=none value='' words=''
  case $command in
)";

constexpr std::string_view kEnd = R"(  esac
  if [[ $previous == : ]]; then
    value=file
  fi
  if [[ -n $value ]]; then
    argument=$value
  elif [[ $current == -* ]]; then
    argument=words words=$options
  fi

  COMPREPLY=()
  case $argument in
    words) mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current") ;;
    file) compopt -o filenames && mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    folder) compopt -o filenames && mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    program) mapfile -t COMPREPLY < <(compgen -c -- "$current") ;;
  esac
}
)";

/// What bash offers for an argument that help calls by this name.
std::string_view KindOf(std::string_view argument) {
  if (argument == "FILE" || argument == "IMAGE") {
    return "file";
  }
  if (argument == "DIR") {
    return "folder";
  }
  return argument == "COMMAND" ? "program" : "none";
}

std::string KindOfValue(const OptionRow& option) {
  std::vector<std::string> choices = ChoicesOf(option);
  // "BS STMIN" stands for something else.
  std::erase_if(choices, [](const std::string& choice) {
    return std::any_of(choice.begin(), choice.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
  });
  return choices.empty() ? std::string(KindOf(option.argument))
                         : fmt::format("words words='{}'", fmt::join(choices, " "));
}

std::vector<std::string> NamesOf(const std::vector<OptionRow>& options) {
  std::vector<std::string> names;
  for (const OptionRow& option : options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

/// `      case $VARIABLE in` with a line for each kind of value; nothing if there is none.
std::string ValueCases(std::string_view variable,
                       const std::map<std::string, std::vector<std::string>>& names_by_kind) {
  if (names_by_kind.empty()) {
    return "";
  }
  std::string text = fmt::format("      case ${} in\n", variable);
  for (const auto& [kind, names] : names_by_kind) {
    text += fmt::format("        {}) value={} ;;\n", fmt::join(names, " | "), kind);
  }
  return text + "      esac\n";
}

std::string ValuesOf(const CommandTable& command) {
  std::map<std::string, std::vector<std::string>> first_values;
  std::map<std::string, std::vector<std::string>> second_values;
  for (const OptionRow& option : command.options) {
    for (const std::string& name : option.names) {
      if (option.argument_count > 0) {
        first_values[KindOfValue(option)].push_back(name);
      }
      if (option.argument_count > 1) {
        second_values[KindOfValue(option)].push_back(name);
      }
    }
  }
  return ValueCases("previous", first_values) + ValueCases("earlier", second_values);
}

std::string CommandCase(const CommandTable& command) {
  const std::string argument = command.positionals.empty()
                                   ? "words words=$options"
                                   : std::string(KindOf(command.positionals.front().names.front()));
  return fmt::format("    {})\n      options='{}'\n      argument={}\n{}      ;;\n", command.name,
                     fmt::join(NamesOf(command.options), " "), argument, ValuesOf(command));
}

std::string ToolCase(const ToolTables& tables) {
  std::string commands;
  for (const CommandTable& command : tables.commands) {
    commands += command.name + ' ';
  }
  return fmt::format("    '')\n      options='{}'\n      argument=words words='{}'\n      ;;\n",
                     fmt::join(NamesOf(tables.tool.options), " "), commands);
}

}  // namespace

std::string BashCompletion(const ToolTables& tables) {
  const std::string& tool = tables.tool.name;
  std::string script = fmt::format(
      "# Completion of {} for bash. The build makes it from the options of the tool.\n\n_{}() {{",
      tool, tool);
  script += kBegin;
  script += ToolCase(tables);
  for (const CommandTable& command : tables.commands) {
    script += CommandCase(command);
  }
  script += kEnd;
  return script + fmt::format("complete -F _{} {}\n", tool, tool);
}

}  // namespace quillmark::host
