#pragma once

#include <chrono>

namespace quillmark::script_host {

/// Waits, and dispatches the messages of this thread meanwhile: calls that other apartments make
/// into this one arrive as such.
void PumpFor(std::chrono::milliseconds time);

}  // namespace quillmark::script_host
