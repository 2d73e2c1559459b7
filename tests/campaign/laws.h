// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "campaign/scenario.h"
#include "campaign/workbench.h"

namespace quillmark::campaign {

/// What two flashes of a scenario, the one with faults and the one after it, did wrong; empty if
/// all is well:
///
/// - with verification, success means that the ECU's memory holds the image;
/// - without a fault that happened, a flash succeeds;
/// - where a backup was asked for, nothing is changed before the host keeps it, and without a fault
///   it is what the ECU held;
/// - a failure names the phase that the host was told last, in its text as well;
/// - the programmer is usable for the next flash.
[[nodiscard]] std::vector<std::string> BrokenLaws(const Scenario& scenario, const Outcome& faulty,
                                                  const Outcome& again);

}  // namespace quillmark::campaign
