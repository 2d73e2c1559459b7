// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "quillmark/error.h"

namespace quillmark {

/// Runs one public operation: what the standard library throws when memory runs out becomes 7 "Out
/// of memory".
template <typename Operation>
decltype(auto) GuardMemory(Operation&& operation) {
  try {
    return std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
    throw Error(error_number::kOutOfMemory);
  } catch (const std::length_error&) {
    throw Error(error_number::kOutOfMemory);
  }
}

/// Raises 7 if an allocation that reports failure by its result has failed.
inline void RequireMemory(bool allocated) {
  if (!allocated) {
    throw Error(error_number::kOutOfMemory);
  }
}

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
