// SPDX-License-Identifier: MIT
#include "bench/allocations.h"

namespace {

thread_local std::size_t allocations = 0;

}  // namespace

extern "C" void* __libc_malloc(std::size_t size);

/// Takes the place of the C library's for the whole program; costs one increment.
extern "C" void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}

std::size_t quillmark::bench::AllocationsSoFar() { return allocations; }
