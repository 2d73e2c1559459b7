// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/programmer/programmer.h"

namespace quillmark::host {

/// A key function that runs `command` through the shell with the seed as one more argument, as
/// upper-case hexadecimal text, and takes what it prints for the key: hexadecimal text of 2 to 5
/// bytes, the lengths that every transport form can confirm. Blanks around it do not matter.
/// Raises ToolError (unavailable) where the command fails or prints something else.
[[nodiscard]] KeyFunction MakeKeyCommand(const std::string& command);

}  // namespace quillmark::host
