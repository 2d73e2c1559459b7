// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace quillmark::windows {

/// Runs `function` on a new thread of the multithreaded apartment, which nobody joins. The module
/// that this code is part of stays loaded until the thread has left it. Throws `std::system_error`
/// if no thread could be made; where the apartment cannot be entered, `function` ends without
/// having run.
void LaunchComThread(std::function<void()> function);

}  // namespace quillmark::windows
