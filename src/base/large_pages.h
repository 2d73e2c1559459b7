// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace quillmark {

/// Asks the system to back memory that was not touched yet with large pages, where it has them and
/// the memory is worth it. To touch 64 MiB for the first time took 8 ms with them and 40 ms without
/// on the machine of docs/performance.md.
void PreferLargePages(void* memory, std::size_t size);

}  // namespace quillmark
