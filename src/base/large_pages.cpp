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
  const std::uintptr_t first_page = (begin + page_size - 1) / page_size * page_size;
  // Only a wish: where it is refused, everything works as before.
  static_cast<void>(
      ::madvise(reinterpret_cast<void*>(first_page), begin + size - first_page, MADV_HUGEPAGE));
}

#else

void PreferLargePages(void* /*memory*/, std::size_t /*size*/) {}

#endif

}  // namespace quillmark
