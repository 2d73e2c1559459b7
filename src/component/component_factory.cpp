// SPDX-License-Identifier: MIT
#include "component/diag_on_can_reprog.h"
#include "component/memory_guard.h"

namespace quillmark {

std::shared_ptr<DiagOnCANReprog> CreateDiagOnCANReprog(const std::shared_ptr<Platform>& platform) {
  return GuardMemory([&] { return std::make_shared<DiagOnCANReprogImplementation>(platform); });
}

}  // namespace quillmark
