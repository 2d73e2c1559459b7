// SPDX-License-Identifier: MIT
#include <string>

#include "base/guards.h"
#include "component/component_classes.h"
#include "platform/portable/portable_platform_factory.h"

namespace quillmark {

std::shared_ptr<PortablePlatform> CreatePortablePlatform() {
  return GuardMemory([] {
    auto platform = MakePortablePlatform();
    ForEachComponentClass(
        [&](const std::string& progID, auto factory) { platform->RegisterClass(progID, factory); });
    return platform;
  });
}

}  // namespace quillmark
