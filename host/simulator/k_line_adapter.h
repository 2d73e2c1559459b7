// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <utility>

#include "host/bus/k_line_receiver.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulator.h"

namespace quillmark::host {

/// A K line adapter on a line with one ECU. The line is one wire, so the tester reads back every
/// byte that it sends, once the line has carried it.
class KLineAdapter : public SimulatedAdapter {
 public:
  /// `wire` must outlive the adapter and have the exchange of its ECU selected.
  KLineAdapter(SimulatedWire& wire, const WireSpeed& speed);

  Bytes OnBytes(ByteView bytes) override;
  Bytes OnFrame(ByteView frame) override;
  [[nodiscard]] std::optional<Duration> NextDue() const override;
  Bytes TakeDue() override;

 private:
  SimulatedWire& wire_;
  Duration byte_time_;
  KLineReceiver receiver_;
  /// What the tester has written and the line has not carried yet, with the end of each part.
  std::deque<std::pair<Duration, Bytes>> echoes_;
  Duration line_free_at_{};
};

}  // namespace quillmark::host
