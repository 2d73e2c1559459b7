#pragma once

#include <string>
#include <vector>

#include "host/ecu/options.h"

namespace quillmark::host {

/// What --sim-fault accepts, for --help and for messages.
extern const char* const kSimFaultHelp;

/// Makes the simulated ECU misbehave as `faults` say. Raises CLI::ValidationError for a text that
/// is none of the forms in `kSimFaultHelp`.
void AddSimFaults(const std::vector<std::string>& faults, Misbehaviour& misbehaviour);

}  // namespace quillmark::host
