// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <ostream>

#include "campaign/fault.h"
#include "campaign/scenario.h"
#include "campaign/workbench.h"

namespace quillmark::campaign {

/// Counts what happened in a campaign. Takes no memory for it.
class Tally {
 public:
  void Add(const Scenario& scenario, const Outcome& outcome);

  void Print(std::ostream& out) const;

  /// Flashes with verification, and those of them that succeeded.
  [[nodiscard]] std::uint64_t verified() const { return verified_; }
  [[nodiscard]] std::uint64_t verified_successes() const { return verified_successes_; }

 private:
  static constexpr std::size_t kPhases = static_cast<std::size_t>(host::Phase::kClose) + 1;

  struct Ends {
    std::uint64_t happened = 0;
    std::uint64_t succeeded = 0;
  };

  std::uint64_t flashes_ = 0;
  std::uint64_t undisturbed_ = 0;
  std::uint64_t succeeded_ = 0;
  std::uint64_t verified_ = 0;
  std::uint64_t verified_successes_ = 0;
  std::uint64_t unverified_wrong_ = 0;
  std::array<Ends, kFaultKinds> faults_{};
  std::array<std::uint64_t, kPhases> failures_{};
  std::uint64_t host_failures_ = 0;
};

}  // namespace quillmark::campaign
