// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/programmer/programmer.h"

namespace quillmark::host {

/// Where in a session it failed: "download, service 34, step 52 of the document".
[[nodiscard]] std::string StepText(const Failure& failure);

/// The state that the ECU is probably in, for its user.
[[nodiscard]] std::string EcuStateText(const Failure& failure);

/// What to do next.
[[nodiscard]] std::string AdviceText(const Failure& failure);

}  // namespace quillmark::host
