// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// Gets what a key command writes to its standard error.
using ShowLine = std::function<void(const std::string& line)>;

/// A key function that runs `command` through the shell with the seed as one more argument, as
/// upper-case hexadecimal text, and takes what it prints for the key: hexadecimal text of 2 to 5
/// bytes, the lengths that every transport form can confirm. Blanks around it do not matter.
///
/// A call gives nothing while the command runs. It and what it started end with the function, and
/// as soon as there is a key. Raises ToolError (unavailable) if the command fails, prints something
/// else or has not ended after `limit`.
[[nodiscard]] KeyFunction MakeKeyCommand(const std::string& command,
                                         std::chrono::milliseconds limit, ShowLine show);

}  // namespace quillmark::host
