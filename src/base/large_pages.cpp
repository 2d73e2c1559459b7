// SPDX-License-Identifier: MIT
#include "base/large_pages.h"

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#endif

namespace quillmark {

#ifdef __linux__

void PreferLargePages(void* memory, std::size_t size) {
  constexpr std::size_t kWorthIt = std::size_t{4} << 20U;
  if (size < kWorthIt) {
    return;
  }
  const auto page_size = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(memory);
  const std::size_t before_first_page = (page_size - begin % page_size) % page_size;
  // Only a hint: if it is refused, everything works as before.
  static_cast<void>(::madvise(static_cast<std::byte*>(memory) + before_first_page,
                              size - before_first_page, MADV_HUGEPAGE));
}

#else

void PreferLargePages(void* /*memory*/, std::size_t /*size*/) {}

#endif

}  // namespace quillmark
