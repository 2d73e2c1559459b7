// SPDX-License-Identifier: MIT
#include "host/tool/interrupt.h"

#include <atomic>
#include <csignal>

namespace quillmark::host {
namespace {

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may set nothing else");

extern "C" void OnInterrupt(int signal) {
  interrupted = true;
  std::signal(signal, SIG_DFL);
}

}  // namespace

void CatchInterrupts() {
  std::signal(SIGINT, OnInterrupt);
  std::signal(SIGTERM, OnInterrupt);
}

bool Interrupted() { return interrupted; }

void IgnoreBrokenPipes() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace quillmark::host
