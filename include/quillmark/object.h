// SPDX-License-Identifier: MIT
#pragma once

#include "quillmark/export.h"

namespace quillmark {

/// The common base of everything that a platform creates by ProgID or passes to a thread.
class QUILLMARK_API Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  Object(Object&&) = delete;
  Object& operator=(Object&&) = delete;
  virtual ~Object() = default;
};

}  // namespace quillmark
