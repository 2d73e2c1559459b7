// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace quillmark::com {

/// Waits, and dispatches the messages of this thread meanwhile: calls that other apartments make
/// into this one arrive as such.
void PumpFor(std::chrono::milliseconds time);

}  // namespace quillmark::com
