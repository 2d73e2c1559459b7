// SPDX-License-Identifier: MIT
#include "platform/workers/class_registry.h"

#include <utility>

#include "quillmark/error.h"
#include "quillmark/portable_platform.h"

namespace quillmark::workers {

void ClassRegistry::Register(std::string progID, ClassFactory factory) {
  const std::lock_guard lock(mutex_);
  // The replaced factory is destroyed without the lock: it may hold anything.
  std::swap(factories_[std::move(progID)], factory);
}

ClassFactory ClassRegistry::Find(std::string_view progID) const {
  const std::lock_guard lock(mutex_);
  const auto found = factories_.find(progID);
  return found == factories_.end() ? nullptr : found->second;
}

std::shared_ptr<Object> ClassRegistry::Create(std::string_view progID,
                                              const std::shared_ptr<Platform>& platform) const {
  const ClassFactory factory = Find(progID);
  if (!factory) {
    throw Error(PortablePlatform::kClassNotRegistered);
  }
  return factory(platform);
}

}  // namespace quillmark::workers
