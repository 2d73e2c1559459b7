// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <thread>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A bus outside of this process, in the time of the monotonic clock.
class RealTimeBus : public Bus {
 public:
  void Wait(std::chrono::milliseconds time) override { std::this_thread::sleep_for(time); }
  [[nodiscard]] Duration Now() const override {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<Duration>(now);
  }

 protected:
  /// From now until `deadline`; 0 if that has passed.
  [[nodiscard]] Duration Left(Duration deadline) const {
    return std::max(deadline - Now(), Duration::zero());
  }
};

}  // namespace quillmark::host
