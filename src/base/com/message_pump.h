// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace quillmark::com {

/// Waits, and meanwhile dispatches the messages of this thread: calls from other apartments arrive
/// as messages.
void PumpFor(std::chrono::milliseconds time);

}  // namespace quillmark::com
