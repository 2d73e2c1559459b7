// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <vector>

#include "host/tool/command.h"
#include "host/tool/exit_code.h"

namespace quillmark::host {

/// The whole command line of the tool. Parsing it fills `command`, which must live as long.
[[nodiscard]] std::unique_ptr<CLI::App> MakeCommandLine(Command& command);

/// What a wrong command line is told: what was expected, what was found, and where the options are
/// listed. `app` has parsed it.
[[nodiscard]] FailureReport UsageReport(const CLI::App& app, const CLI::Error& error);

/// The words of the command line behind the name of the program, last first, as the parser takes
/// them. "auto" as a flow control becomes two words, since numbers are two.
[[nodiscard]] std::vector<std::string> ArgumentsOf(const std::vector<std::string>& words);

}  // namespace quillmark::host
