// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/tool/pages/option_table.h"

/// What the build makes of the tool's option table.
namespace quillmark::host {

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
