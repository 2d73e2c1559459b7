// SPDX-License-Identifier: MIT
#pragma once

#include <new>
#include <utility>

#include "quillmark/error.h"

namespace quillmark::portable {

/// Calls `call` and raises 7 if an allocation fails. Every operation that a host can call and that
/// allocates goes through here, since `Error` is all that the interfaces raise.
template <typename Call>
decltype(auto) OrOutOfMemory(Call&& call) {
  try {
    return std::forward<Call>(call)();
  } catch (const std::bad_alloc&) {
    throw Error(error_number::kOutOfMemory);
  }
}

}  // namespace quillmark::portable
