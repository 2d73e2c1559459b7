#pragma once

#include <memory>

#include "platform/portable/worker_threads.h"
#include "quillmark/portable_platform.h"

namespace quillmark {

/// A portable platform without any class registered.
[[nodiscard]] std::shared_ptr<PortablePlatform> MakePortablePlatform(
    portable::ThreadLauncher launcher = portable::LaunchDetachedThread);

}  // namespace quillmark
