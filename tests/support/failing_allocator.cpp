// SPDX-License-Identifier: MIT
#include "support/failing_allocator.h"

#include <cstdlib>
#include <new>
#include <pugixml.hpp>

namespace {

// Allocations until the one that fails; below 0, none does (any more).
thread_local std::ptrdiff_t until_failure = -1;
thread_local bool has_failed = false;

bool FailsNow() {
  if (until_failure < 0 || until_failure-- > 0) {
    return false;
  }
  has_failed = true;
  return true;
}

void* AllocateOrNull(std::size_t size) { return FailsNow() ? nullptr : std::malloc(size); }

}  // namespace

// Not inlined: g++ would see memory of `new` in `free`, and take that for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* memory = AllocateOrNull(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size == 0 ? 1 : size);
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace quillmark::testing {

FailingAllocation::FailingAllocation(std::size_t index) {
  has_failed = false;
  until_failure = static_cast<std::ptrdiff_t>(index);
}

FailingAllocation::~FailingAllocation() { until_failure = -1; }

bool FailingAllocation::HasFailed() const { return has_failed; }

void WatchXmlLibrary() { pugi::set_memory_management_functions(AllocateOrNull, std::free); }

}  // namespace quillmark::testing
