// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace quillmark {

/// Asks the system to use large pages for memory that has not been touched yet, if it has them and
/// the memory is large enough. Touching 64 MiB for the first time took 8 ms with them and 40 ms
/// without on the machine of docs/performance.md.
void PreferLargePages(void* memory, std::size_t size);

}  // namespace quillmark
