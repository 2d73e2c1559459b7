// SPDX-License-Identifier: MIT
#include "host/conformance/scripted_ecu.h"

#include <algorithm>
#include <utility>

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// Not 0, so that a runner that takes a moment for a span is found out.
constexpr Duration kOrigin = std::chrono::hours(1);
constexpr milliseconds kLook{1};
constexpr std::size_t kMostCalls = 1'000'000;

Bytes Copy(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace

ScriptedEcu::ScriptedEcu(std::vector<Turn> script, std::vector<Bytes> arrived,
                         milliseconds most_time)
    : script_(std::move(script)), now_(kOrigin), end_(kOrigin + most_time) {
  for (Bytes& frame : arrived) {
    in_flight_.emplace(now_, std::move(frame));
  }
}

void ScriptedEcu::Select(const Exchange& exchange) {
  CountCall();
  exchange_ = exchange;
}

void ScriptedEcu::Send(ByteView frame) {
  CountCall();
  events_.push_back({.at = now_, .frame = Copy(frame), .exchange = exchange_});
  if (next_ == script_.size() || script_[next_].frame != events_.back().frame) {
    return;
  }
  for (const ScriptedReply& reply : script_[next_].replies) {
    in_flight_.emplace(now_ + reply.after, reply.frame);
  }
  ++next_;
}

std::optional<Bytes> ScriptedEcu::Receive(milliseconds timeout) {
  CountCall();
  const Duration until = now_ + std::clamp(timeout, milliseconds(0), milliseconds(end_.count()));
  const auto first = in_flight_.begin();
  if (first == in_flight_.end() || first->first > until) {
    now_ = std::max<Duration>(until, now_ + kLook);
    return std::nullopt;
  }
  now_ = std::max(now_, first->first);
  Bytes frame = std::move(first->second);
  in_flight_.erase(first);
  events_.push_back({.kind = BusEvent::Kind::kReceived, .at = now_, .frame = frame});
  return frame;
}

void ScriptedEcu::Wait(milliseconds time) {
  CountCall();
  now_ += std::clamp(time, milliseconds(0), milliseconds(end_.count()));
}

void ScriptedEcu::Break(milliseconds low) {
  Wait(low);
  events_.push_back({.kind = BusEvent::Kind::kBreak, .at = now_, .low = low});
}

void ScriptedEcu::CountCall() {
  has_run_out_ = has_run_out_ || now_ >= end_ || ++calls_ > kMostCalls;
  if (has_run_out_) {
    throw BusError("the test is over, and the run has not ended");
  }
}

}  // namespace quillmark::host
