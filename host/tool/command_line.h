// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <memory>

#include "host/tool/command.h"

namespace quillmark::host {

/// The whole command line of the tool. Parsing it fills `command`, which must live as long.
[[nodiscard]] std::unique_ptr<CLI::App> MakeCommandLine(Command& command);

}  // namespace quillmark::host
