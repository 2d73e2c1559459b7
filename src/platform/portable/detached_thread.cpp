// SPDX-License-Identifier: MIT
#include <new>
#include <thread>
#include <utility>

#include "platform/portable/portable_platform_factory.h"

namespace quillmark::portable {
namespace {

/// Documents of some megabytes come and go, and the C library would give their memory back to the
/// system each time, only to ask for it again. It stops doing so once it has seen a block of this
/// size end. Without it, an upload of 4 MiB in plain CAN form takes 97,000 page faults instead of
/// some, and three times as long.
void KeepFreedMemory() {
  constexpr std::size_t kDocumentMemory = std::size_t{8} << 20U;
  ::operator delete(::operator new(kDocumentMemory, std::nothrow));
}

}  // namespace

void LaunchDetachedThread(std::function<void()> function) {
  std::thread([run = std::move(function)] {
    KeepFreedMemory();
    run();
  }).detach();
}

}  // namespace quillmark::portable
