// SPDX-License-Identifier: MIT
#pragma once

#include "host/tool/fault_option.h"
#include "host/tool/link_options.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// A simulated ECU that is reached in the way of `link` and misbehaves as `faults` say.
[[nodiscard]] EcuOptions SimulatedEcuFor(const LinkOptions& link, std::uint8_t memory,
                                         std::uint8_t check_routine, const Faults& faults);

}  // namespace quillmark::host
