// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>

#include "host/tool/exit_code.h"

namespace quillmark::host {

/// What a wrong command line is told: what was expected, what was found, and where the options are
/// listed. `app` has parsed it.
[[nodiscard]] FailureReport UsageReport(const CLI::App& app, const CLI::Error& error);

}  // namespace quillmark::host
