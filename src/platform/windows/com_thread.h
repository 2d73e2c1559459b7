// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace quillmark::windows {

/// Runs `function` on a new, detached thread of the multithreaded apartment. The module of this
/// code stays loaded until the thread has left it. Throws `std::system_error` if no thread could be
/// created; if the apartment cannot be entered, `function` is destroyed without having run.
void LaunchComThread(std::function<void()> function);

}  // namespace quillmark::windows
