// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/tool/pages/option_table.h"

namespace quillmark::host {

/// A script that teaches bash to complete the tool's command line: commands, options, choices,
/// files and folders. It needs bash 4.4 and nothing else.
[[nodiscard]] std::string BashCompletion(const ToolTables& tables);

}  // namespace quillmark::host
