// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>

#include "quillmark/host/simulator.h"

namespace quillmark::host {
namespace {

constexpr std::chrono::milliseconds kQuiet{200};

Duration SteadyNow() {
  return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace

void EcuServer::Run(const Callbacks& callbacks) {
  wire_.AdvanceTo(SteadyNow());
  while (!callbacks.stop_requested || !callbacks.stop_requested()) {
    CatchUp();
    const Duration timeout = TimeToNextEvent(kQuiet);
    const Bytes bytes = line_.Read(timeout);
    if (!bytes.empty()) {
      wire_.AdvanceTo(SteadyNow());
      line_.Write(adapter_.OnBytes(bytes));
    } else if (timeout == kQuiet && callbacks.on_quiet) {
      callbacks.on_quiet();
    }
  }
}

void EcuServer::CatchUp() {
  const Duration now = SteadyNow();
  wire_.AdvanceTo(now);
  while (adapter_.NextDue() && *adapter_.NextDue() <= now) {
    line_.Write(adapter_.TakeDue());
  }
  while (const std::optional<Bytes> frame = wire_.TakeReceived()) {
    line_.Write(adapter_.OnFrame(*frame));
  }
}

Duration EcuServer::TimeToNextEvent(Duration limit) const {
  Duration left = limit;
  for (const std::optional<Duration>& event : {wire_.NextArrival(), adapter_.NextDue()}) {
    if (event) {
      left = std::min(left, std::max(*event - SteadyNow(), Duration::zero()));
    }
  }
  return left;
}

}  // namespace quillmark::host
