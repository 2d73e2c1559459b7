// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <cctype>
#include <string_view>

#include "host/tool/exit_code.h"
#include "host/tool/pages/pages.h"

namespace quillmark::host {
namespace {

/// Text that roff prints as it is. A plain '-' would become a hyphen, which nobody can paste into a
/// command line; the apostrophe and its like would become typographic ones.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '\\':
        escaped += "\\e";
        break;
      case '-':
        escaped += "\\-";
        break;
      case '\'':
        escaped += "\\(aq";
        break;
      case '`':
        escaped += "\\(ga";
        break;
      case '^':
        escaped += "\\(ha";
        break;
      case '~':
        escaped += "\\(ti";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

std::string Bold(std::string_view text) { return fmt::format("\\fB{}\\fR", Escaped(text)); }

std::string Italic(std::string_view text) { return fmt::format("\\fI{}\\fR", Escaped(text)); }

/// A line of text; a dot at its start would make it a request.
std::string Line(std::string_view text) {
  return (text.starts_with('.') ? "\\&" : "") + Escaped(text) + '\n';
}

std::string Sentence(std::string text) {
  if (text.empty()) {
    return text;
  }
  text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
  return Line(text.back() == '.' ? text : text + '.');
}

/// A sentence as the rest of another one.
std::string Phrase(std::string sentence) {
  sentence.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(sentence.front())));
  if (sentence.back() == '.') {
    sentence.pop_back();
  }
  return sentence;
}

std::string Section(std::string_view title, const std::string& body) {
  return body.empty() ? "" : fmt::format(".SH {}\n{}", title, body);
}

/// Lines as they are.
std::string Literal(std::string_view text) {
  std::string lines = ".nf\n";
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines += Line(text.substr(0, end));
    text = end == std::string_view::npos ? "" : text.substr(end + 1);
  }
  return lines + ".fi\n";
}

std::string Heading(const std::string& tool, const std::string& page, const Release& release) {
  std::string upper = page;
  for (char& character : upper) {
    character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
  }
  return fmt::format(".TH {} 1 \"{}\" \"{} {}\" \"User Commands\"\n.nh\n.ad l\n", Escaped(upper),
                     release.date, tool, release.version);
}

std::string ArgumentOf(const OptionRow& option) {
  const std::vector<std::string> choices = ChoicesOf(option);
  if (choices.empty()) {
    return Italic(option.argument);
  }
  std::string text;
  for (const std::string& choice : choices) {
    text += (text.empty() ? "" : "|") + Bold(choice);
  }
  return text;
}

std::string Tag(const OptionRow& option) {
  std::string tag;
  for (const std::string& name : option.names) {
    tag += (tag.empty() ? "" : ", ") + Bold(name);
  }
  return option.argument.empty() ? tag : tag + ' ' + ArgumentOf(option);
}

std::string Entry(const OptionRow& option, const std::string& tag) {
  const std::string required = option.required ? "; required" : "";
  return fmt::format(".TP\n{}\n{}", tag, Sentence(option.help + required));
}

std::string Options(const CommandTable& command) {
  std::string text;
  for (const OptionRow& positional : command.positionals) {
    text += Entry(positional, Italic(positional.names.front()));
  }
  for (const OptionRow& option : command.options) {
    text += Entry(option, Tag(option));
  }
  return text;
}

std::string Synopsis(const std::string& tool, const CommandTable& command) {
  std::string text = Bold(tool + ' ' + command.name) + " [" + Italic("OPTION") + "]...";
  for (const OptionRow& option : command.options) {
    text += option.required ? ' ' + Tag(option) : "";
  }
  for (const OptionRow& positional : command.positionals) {
    const std::string name =
        Italic(positional.names.front()) + (positional.repeatable ? "..." : "");
    text += positional.required ? ' ' + name : " [" + name + ']';
  }
  return text + '\n';
}

std::string ExitStatus() {
  std::string text;
  for (const ExitCodeMeaning& exit : ExitCodeMeanings()) {
    text += fmt::format(".TP\n{}\n{}", Bold(std::to_string(static_cast<int>(exit.code))),
                        Sentence(exit.meaning));
  }
  return text;
}

std::string Reference(const std::string& page) { return Bold(page) + "(1)"; }

}  // namespace

std::string PageName(const ToolTables& tables, const CommandTable& command) {
  return tables.tool.name + '-' + command.name;
}

std::string ToolPage(const ToolTables& tables, const Release& release) {
  const std::string& name = tables.tool.name;
  std::string commands;
  std::string references;
  for (const CommandTable& command : tables.commands) {
    commands += fmt::format(".TP\n{}\n{}", Bold(command.name), Sentence(command.description));
    references += (references.empty() ? "" : ",\n") + Reference(PageName(tables, command));
  }
  return Heading(name, name, release) +
         Section("NAME", Escaped(name) + " \\- " + Line(Phrase(tables.tool.description))) +
         Section("SYNOPSIS", Bold(name) + ' ' + Italic("COMMAND") + " [" + Italic("OPTION") +
                                 "]... [" + Italic("ARGUMENT") + "]...\n") +
         Section("DESCRIPTION", Sentence(tables.tool.description)) + Section("COMMANDS", commands) +
         Section("OPTIONS", Options(tables.tool)) + Section("EXIT STATUS", ExitStatus()) +
         Section("SEE ALSO", references + '\n');
}

std::string CommandPage(const ToolTables& tables, const CommandTable& command,
                        const Release& release) {
  const std::string page = PageName(tables, command);
  const std::string more = command.footer.empty() ? "" : ".PP\n" + Literal(command.footer);
  return Heading(tables.tool.name, page, release) +
         Section("NAME", Escaped(page) + " \\- " + Line(command.description)) +
         Section("SYNOPSIS", Synopsis(tables.tool.name, command)) +
         Section("DESCRIPTION", Sentence(command.description) + more) +
         Section("OPTIONS", Options(command)) + Section("EXIT STATUS", ExitStatus()) +
         Section("SEE ALSO", Reference(tables.tool.name) + '\n');
}

}  // namespace quillmark::host
