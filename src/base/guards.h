// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "quillmark/error.h"

namespace quillmark {

/// The object of a pointer that is about to be used. Raises 91 if it is null: a caller may pass
/// null, and a platform or a type of the host may return it.
template <typename T>
T& Require(T* object) {
  if (object == nullptr) {
    throw Error(error_number::kObjectNotSet);
  }
  return *object;
}
template <typename T>
T& Require(const std::shared_ptr<T>& object) {
  return Require(object.get());
}

/// The same, for a pointer that is kept.
template <typename T>
[[nodiscard]] std::shared_ptr<T> NotNull(std::shared_ptr<T> object) {
  Require(object);
  return object;
}

}  // namespace quillmark
