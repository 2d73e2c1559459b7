// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/tool/link_options.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// What goes wrong with a simulated ECU and on the wire to it.
struct Faults {
  Misbehaviour ecu{};
  WireFaults wire{};
  /// As EcuOptions has it: no fault, but a kind of memory that does not forgive one.
  bool write_once = false;
};

/// What --fault accepts, for --help and for messages.
extern const char* const kFaultHelp;

/// Reads the values of --fault. Raises CLI::ValidationError for a text in none of the forms of
/// `kFaultHelp`.
[[nodiscard]] Faults ParseFaults(const std::vector<std::string>& texts);

/// A simulated ECU that is reached in the way of `link` and misbehaves as `faults` say.
[[nodiscard]] EcuOptions SimulatedEcuFor(const LinkOptions& link, std::uint8_t memory,
                                         std::uint8_t check_routine, const Faults& faults);

}  // namespace quillmark::host
