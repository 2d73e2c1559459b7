// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

#include "platform/workers/worker_threads.h"
#include "quillmark/portable_platform.h"

namespace quillmark::portable {

/// Runs a function on a new, detached thread.
void LaunchDetachedThread(std::function<void()> function);

}  // namespace quillmark::portable

namespace quillmark {

/// A portable platform without any class registered.
[[nodiscard]] std::shared_ptr<PortablePlatform> MakePortablePlatform(
    workers::ThreadLauncher launcher = portable::LaunchDetachedThread);

}  // namespace quillmark
