// SPDX-License-Identifier: MIT
#include "host/programmer/progress_reporter.h"

namespace quillmark::host {

ProgressReporter::ProgressReporter(const Bus& bus,
                                   const std::function<void(const Progress&)>& on_progress)
    : bus_(bus), on_progress_(on_progress), began_(bus.Now()), phase_began_(began_) {}

void ProgressReporter::Begin(Phase phase, std::uint64_t bytes_total) {
  phase_began_ = bus_.Now();
  progress_.phase = phase;
  progress_.bytes_done = 0;
  progress_.bytes_total = bytes_total;
  Report();
}

void ProgressReporter::BytesDone(std::uint64_t bytes) {
  if (bytes != progress_.bytes_done) {
    progress_.bytes_done = bytes;
    Report();
  }
}

void ProgressReporter::Repeated() {
  ++progress_.repeated;
  Report();
}

void ProgressReporter::PassedOver(std::uint32_t frames) { progress_.passed_over += frames; }

Failure ProgressReporter::WithState(Failure failure) const {
  failure.memory = progress_.memory;
  failure.session_open = session_open_;
  failure.repeated = progress_.repeated;
  failure.passed_over = progress_.passed_over;
  if (progress_.memory == EcuMemory::kPartlyWritten) {
    failure.written_bytes = progress_.bytes_done;
    failure.image_bytes = progress_.bytes_total;
  }
  return failure;
}

void ProgressReporter::Report() {
  if (!on_progress_) {
    return;
  }
  progress_.phase_time = PhaseTime();
  progress_.total_time = TotalTime();
  on_progress_(progress_);
}

}  // namespace quillmark::host
