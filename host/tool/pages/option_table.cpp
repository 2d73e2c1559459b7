// SPDX-License-Identifier: MIT
#include <algorithm>
#include <sstream>

#include "host/tool/pages/pages.h"

namespace quillmark::host {
namespace {

std::vector<std::string> NamesOf(const CLI::Option& option) {
  if (!option.nonpositional()) {
    return {option.get_name(true)};
  }
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) {
    names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    names.push_back("--" + name);
  }
  return names;
}

OptionRow RowOf(const CLI::Option& option) {
  const bool takes_all = option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  OptionRow row;
  row.names = NamesOf(option);
  row.argument_count = option.get_items_expected_min();
  row.argument = row.argument_count == 0 ? "" : option.get_type_name();
  row.required = option.get_required();
  row.repeatable = takes_all && row.argument_count == 1;
  row.help = option.get_description();
  return row;
}

CommandTable TableOf(const CLI::App& app) {
  CommandTable table{app.get_name(), app.get_description(), {}, {}, app.get_footer()};
  for (const CLI::Option* option : app.get_options()) {
    (option->nonpositional() ? table.options : table.positionals).push_back(RowOf(*option));
  }
  return table;
}

}  // namespace

ToolTables TablesOf(const CLI::App& app) {
  ToolTables tables{TableOf(app), {}};
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    tables.commands.push_back(TableOf(*command));
    // A command without a footer of its own shows the tool's.
    if (tables.commands.back().footer == tables.tool.footer) {
      tables.commands.back().footer.clear();
    }
  }
  std::sort(tables.commands.begin(), tables.commands.end(),
            [](const CommandTable& a, const CommandTable& b) { return a.name < b.name; });
  return tables;
}

std::vector<std::string> ChoicesOf(const OptionRow& option) {
  std::vector<std::string> choices;
  if (option.argument.find('|') == std::string::npos) {
    return choices;
  }
  std::istringstream text(option.argument);
  for (std::string choice; std::getline(text, choice, '|');) {
    choices.push_back(choice);
  }
  return choices;
}

}  // namespace quillmark::host
