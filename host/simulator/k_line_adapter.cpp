// SPDX-License-Identifier: MIT
#include "host/simulator/k_line_adapter.h"

#include <algorithm>

namespace quillmark::host {
namespace {

/// P4 is at most 20 ms; the rest allows for a tester's system that is busy with something else.
constexpr std::chrono::milliseconds kLongestPause{300};

}  // namespace

KLineAdapter::KLineAdapter(SimulatedWire& wire, const WireSpeed& speed)
    : wire_(wire), byte_time_(WireTime({.form = TransportForm::kKLine}, 1, speed)) {}

Bytes KLineAdapter::OnBytes(ByteView bytes) {
  if (wire_.Now() > line_free_at_ + kLongestPause) {
    static_cast<void>(receiver_.OnSilence());
  }
  line_free_at_ =
      std::max(wire_.Now(), line_free_at_) + byte_time_ * static_cast<Duration::rep>(bytes.size());
  echoes_.emplace_back(line_free_at_, Bytes(bytes.begin(), bytes.end()));
  for (const Bytes& message : receiver_.Take(bytes)) {
    wire_.SendEndingAt(message, line_free_at_);
  }
  return {};
}

Bytes KLineAdapter::OnFrame(ByteView frame) { return {frame.begin(), frame.end()}; }

std::optional<Duration> KLineAdapter::NextDue() const {
  return echoes_.empty() ? std::nullopt : std::optional(echoes_.front().first);
}

Bytes KLineAdapter::TakeDue() {
  Bytes echo = std::move(echoes_.front().second);
  echoes_.pop_front();
  return echo;
}

std::unique_ptr<SimulatedAdapter> CreateKLineAdapter(SimulatedWire& wire, const WireSpeed& speed) {
  return std::make_unique<KLineAdapter>(wire, speed);
}

}  // namespace quillmark::host
