// SPDX-License-Identifier: MIT
// quillmark_pages FOLDER VERSION DATE: writes the tool's manual pages and its completion for bash
// into FOLDER, from the same table of options as the tool itself.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "host/tool/command_line.h"
#include "host/tool/pages/pages.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

void WritePages(const std::filesystem::path& folder, const Release& release) {
  Command command;
  const ToolTables tables = TablesOf(*MakeCommandLine(command));
  const std::filesystem::path manual = folder / "man1";
  std::filesystem::create_directories(manual);
  WriteFile(manual / (tables.tool.name + ".1"), ToolPage(tables, release));
  for (const CommandTable& row : tables.commands) {
    WriteFile(manual / (PageName(tables, row) + ".1"), CommandPage(tables, row, release));
  }
  WriteFile(folder / (tables.tool.name + ".bash"), BashCompletion(tables));
}

}  // namespace
}  // namespace quillmark::host

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: quillmark_pages FOLDER VERSION DATE\n", stderr);
    return 64;
  }
  try {
    quillmark::host::WritePages(argv[1], {argv[2], argv[3]});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillmark_pages: %s\n", error.what());
    return 1;
  }
  return 0;
}
