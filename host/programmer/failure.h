// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "quillmark/error.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/runner.h"

namespace quillmark::host {

/// The failure of an exchange: of its run, of the component's check of it, or of both.
[[nodiscard]] Failure ExchangeFailure(Phase phase, const RunOutcome& outcome,
                                      const std::optional<Error>& error);

/// The failure of the bus while no document was being run.
[[nodiscard]] Failure BusFailure(Phase phase, const std::string& reason);

/// Why the history of an ECU is not read to its end.
[[nodiscard]] std::string HistoryEndText(const Identification::Refusal& refused);

/// "0x001000".
[[nodiscard]] std::string AddressText(std::uint32_t address);

}  // namespace quillmark::host
