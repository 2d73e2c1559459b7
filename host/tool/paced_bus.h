// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A simulated bus that takes as long as a real one: each call returns when its time has come on
/// the monotonic clock. Time that the tester spends between two requests is lost, as with a real
/// ECU. As a USB adapter does, it hands over together what came within a millisecond.
class PacedBus : public Bus {
 public:
  explicit PacedBus(std::unique_ptr<Bus> simulated) : simulated_(std::move(simulated)) {}

  void Select(const Exchange& exchange) override { simulated_->Select(exchange); }

  void Send(ByteView frame) override {
    origin_ = std::max(origin_, Now() - simulated_->Now());
    simulated_->Send(frame);
    CatchUp();
  }

  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    std::optional<Bytes> frame = simulated_->Receive(timeout);
    CatchUp();
    return frame;
  }

  void Wait(std::chrono::milliseconds time) override {
    simulated_->Wait(time);
    CatchUp();
  }

  void Break(std::chrono::milliseconds low) override {
    simulated_->Break(low);
    CatchUp();
  }

  [[nodiscard]] Duration Now() const override {
    return std::chrono::duration_cast<Duration>(Clock::now().time_since_epoch());
  }

 private:
  using Clock = std::chrono::steady_clock;

  void CatchUp() const {
    const Duration due = origin_ + simulated_->Now();
    if (due - Now() > std::chrono::milliseconds(1)) {
      std::this_thread::sleep_until(
          Clock::time_point(std::chrono::duration_cast<Clock::duration>(due)));
    }
  }

  std::unique_ptr<Bus> simulated_;
  /// When the simulated time was 0.
  Duration origin_ = Now();
};

}  // namespace quillmark::host
