#pragma once

#include <functional>
#include <memory>

#include "platform/portable/worker_threads.h"
#include "quillmark/portable_platform.h"

namespace quillmark::portable {

/// A portable platform without any class registered.
[[nodiscard]] std::shared_ptr<PortablePlatform> MakePortablePlatform(
    ThreadLauncher launcher = LaunchDetachedThread);

}  // namespace quillmark::portable
