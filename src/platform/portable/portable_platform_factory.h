// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

#include "platform/shared/worker_threads.h"
#include "quillmark/dom.h"
#include "quillmark/portable_platform.h"

namespace quillmark::portable {

/// Empty documents on the XML library.
[[nodiscard]] std::shared_ptr<DOMDocument> NewDocument();
[[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument();

/// Runs a function on a new, detached thread.
void LaunchDetachedThread(std::function<void()> function);

}  // namespace quillmark::portable

namespace quillmark {

/// A portable platform without any class registered.
[[nodiscard]] std::shared_ptr<PortablePlatform> MakePortablePlatform(
    workers::ThreadLauncher launcher = portable::LaunchDetachedThread);

}  // namespace quillmark
