// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace quillmark::host {

/// An option or a positional argument of a command, as its user sees it.
struct OptionRow {
  std::vector<std::string> names;  ///< "-o", "--output"; of a positional argument "IMAGE"
  /// What follows the name: "FILE", "RECEIVE SEND", a choice such as "can|gateway|kline"; empty for
  /// a flag.
  std::string argument;
  int argument_count = 0;  ///< words that follow the name
  bool required = false;
  bool repeatable = false;
  std::string help;
};

/// A command, or the tool itself.
struct CommandTable {
  std::string name;
  std::string description;
  std::vector<OptionRow> positionals;
  std::vector<OptionRow> options;
  std::string footer;
};

/// The tables of the tool and its commands, read from the parser itself: manual and completion are
/// made of nothing else.
struct ToolTables {
  CommandTable tool;
  std::vector<CommandTable> commands;  ///< by name
};

[[nodiscard]] ToolTables TablesOf(const CLI::App& app);

/// The values of a choice such as "can|gateway|kline"; none for any other argument.
[[nodiscard]] std::vector<std::string> ChoicesOf(const OptionRow& option);

}  // namespace quillmark::host
