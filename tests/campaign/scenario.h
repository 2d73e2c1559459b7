// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "campaign/fault.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_ecu.h"

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
[[nodiscard]] Scenario ScenarioOf(std::uint64_t seed,
                                  std::optional<host::TransportForm> form = std::nullopt);

/// One to `most` transient faults instead of the others. `chances` says how many chances a flash
/// without faults has for a kind, which are all alike.
void ChooseTransientFaults(std::uint64_t seed, std::uint32_t most,
                           const std::function<std::uint32_t(FaultKind)>& chances,
                           Scenario& scenario);

/// "plain CAN", …
[[nodiscard]] std::string TextOf(host::TransportForm form);

/// For a person who reruns a seed.
[[nodiscard]] std::string Describe(const Scenario& scenario);

}  // namespace quillmark::campaign
