// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/windows/windows_platform.h"

namespace quillmark {

/// A Windows platform without any class registered.
[[nodiscard]] std::shared_ptr<WindowsPlatform> MakeWindowsPlatform();

}  // namespace quillmark
