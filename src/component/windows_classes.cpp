// SPDX-License-Identifier: MIT
#include <string>

#include "base/guards.h"
#include "component/component_classes.h"
#include "platform/windows/windows_platform.h"

namespace quillmark {

std::shared_ptr<WindowsPlatform> CreateWindowsPlatform() {
  return GuardMemory([] {
    auto platform = MakeWindowsPlatform();
    ForEachComponentClass(
        [&](const std::string& progID, auto factory) { platform->AddClass(progID, factory); });
    return platform;
  });
}

}  // namespace quillmark
