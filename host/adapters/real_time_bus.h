// SPDX-License-Identifier: MIT
#pragma once

#include "host/bus/bus.h"

namespace quillmark::host {

/// A bus outside of this process, in the time of the monotonic clock.
class RealTimeBus : public Bus {
 public:
  void Wait(std::chrono::milliseconds time) override;
  [[nodiscard]] Duration Now() const override;

 protected:
  /// From now until `deadline`; 0 if that has passed.
  [[nodiscard]] Duration Left(Duration deadline) const;
};

}  // namespace quillmark::host
