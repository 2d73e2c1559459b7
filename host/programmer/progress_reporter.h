// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// Tracks the progress of a call and reports it to the host.
class ProgressReporter {
 public:
  /// Both must outlive the reporter.
  ProgressReporter(const Bus& bus, const std::function<void(const Progress&)>& on_progress);

  void Begin(Phase phase, std::uint64_t bytes_total = 0);
  void BytesDone(std::uint64_t bytes);
  /// A request is sent again.
  void Repeated();
  /// So many frames answered nothing.
  void PassedOver(std::uint32_t frames);

  void SetMemory(EcuMemory memory) { progress_.memory = memory; }
  void SetSessionOpen(bool open) { session_open_ = open; }

  [[nodiscard]] Phase phase() const { return progress_.phase; }
  [[nodiscard]] const Progress& progress() const { return progress_; }
  /// Adds what is known of the ECU.
  [[nodiscard]] Failure WithState(Failure failure) const;
  /// As of now.
  [[nodiscard]] Duration PhaseTime() const { return bus_.Now() - phase_began_; }
  [[nodiscard]] Duration TotalTime() const { return bus_.Now() - began_; }

 private:
  void Report();

  const Bus& bus_;
  const std::function<void(const Progress&)>& on_progress_;
  Duration began_;
  Duration phase_began_;
  Progress progress_;
  bool session_open_ = false;
};

}  // namespace quillmark::host
