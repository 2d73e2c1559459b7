// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace quillmark::host {

/// What a wrong command line is told: what was expected, what was found, and where the options are
/// listed. `app` has parsed it.
[[nodiscard]] std::string UsageText(const CLI::App& app, const CLI::Error& error);

}  // namespace quillmark::host
