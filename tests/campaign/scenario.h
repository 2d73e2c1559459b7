// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "campaign/fault.h"
#include "host/ecu/options.h"
#include "host/programmer/programmer.h"

namespace quillmark::campaign {

struct Segment {
  std::uint32_t address = 0;
  host::Bytes bytes;
};

/// One flash: of what, with which parameters, and what goes wrong. Without the faults it succeeds.
struct Scenario {
  host::EcuOptions ecu;
  host::ProgrammerConfig config;
  std::vector<Segment> image;
  bool verify = false;
  /// Whether the host wants what is about to be erased.
  bool backup = false;
  std::vector<Fault> faults;
};

/// The same for the same seed.
[[nodiscard]] Scenario ScenarioOf(std::uint64_t seed);

/// For a person who reruns a seed.
[[nodiscard]] std::string Describe(const Scenario& scenario);

}  // namespace quillmark::campaign
