// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

/// What the build makes of the tool's option table.
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

/// What the foot of every page says.
struct Release {
  std::string version;
  std::string date;  ///< as "21 Nov 2026"
};

/// The manual page quillmark(1), in the man macros of roff.
[[nodiscard]] std::string ToolPage(const ToolTables& tables, const Release& release);

/// The page of one of its commands, such as quillmark-flash(1).
[[nodiscard]] std::string CommandPage(const ToolTables& tables, const CommandTable& command,
                                      const Release& release);

/// "quillmark-flash".
[[nodiscard]] std::string PageName(const ToolTables& tables, const CommandTable& command);

/// A script that teaches bash to complete the tool's command line: commands, options, choices,
/// files and folders. It needs bash 4.4 and nothing else.
[[nodiscard]] std::string BashCompletion(const ToolTables& tables);

}  // namespace quillmark::host
