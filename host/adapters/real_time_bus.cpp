// SPDX-License-Identifier: MIT
#include "host/adapters/real_time_bus.h"

#include <algorithm>
#include <thread>

namespace quillmark::host {

void RealTimeBus::Wait(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

Duration RealTimeBus::Now() const {
  return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
}

Duration RealTimeBus::Left(Duration deadline) const {
  return std::max(deadline - Now(), Duration::zero());
}

}  // namespace quillmark::host
