// SPDX-License-Identifier: MIT
#pragma once

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

}  // namespace quillmark
