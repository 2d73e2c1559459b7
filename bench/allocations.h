// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace quillmark::bench {

/// Heap blocks that the calling thread has asked for so far, by malloc() or what stands on it:
/// `new` and the XML library.
[[nodiscard]] std::size_t AllocationsSoFar();

}  // namespace quillmark::bench
