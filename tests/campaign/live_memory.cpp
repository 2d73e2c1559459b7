// SPDX-License-Identifier: MIT
#include "campaign/live_memory.h"

#include <malloc.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <pugixml.hpp>
#include <thread>

namespace {

std::atomic<std::size_t> live_blocks{0};
std::atomic<std::size_t> live_bytes{0};

void* AllocateOrNull(std::size_t size) {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr) {
    live_blocks.fetch_add(1, std::memory_order_relaxed);
    live_bytes.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
  }
  return memory;
}

void Release(void* memory) {
  if (memory != nullptr) {
    live_blocks.fetch_sub(1, std::memory_order_relaxed);
    live_bytes.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
    std::free(memory);
  }
}

std::size_t CountThreads() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = AllocateOrNull(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return AllocateOrNull(size);
}

void operator delete(void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { Release(memory); }

namespace quillmark::campaign {

void CountXmlLibrary() { pugi::set_memory_management_functions(AllocateOrNull, Release); }

Holdings CurrentHoldings() {
  const std::size_t threads = CountThreads();
  return {live_blocks.load(), live_bytes.load(), threads};
}

Holdings HoldingsOnceDownTo(const Holdings& expected) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  Holdings holdings = CurrentHoldings();
  while (holdings != expected && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::microseconds(50));
    holdings = CurrentHoldings();
  }
  return holdings;
}

}  // namespace quillmark::campaign
