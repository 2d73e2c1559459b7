// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/decode/decoding.h"
#include "host/report/artifacts.h"

namespace quillmark::host {

/// How a command ended, for the head of the page.
struct Outcome {
  std::string state;   ///< done, failed, cancelled, unfinished
  std::string line;    ///< a sentence
  std::string advice;  ///< what to do next; empty if there is no advice
};

/// "flash"; "a command" if the plan does not say which.
[[nodiscard]] std::string_view NameOf(PlannedCommand command);

[[nodiscard]] Outcome OutcomeOf(const Artifacts& artifacts);

/// Names and values: which ECU, which image, which bus, when.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> FactsOf(const Artifacts& artifacts,
                                                                       const Decoding& decoding);

}  // namespace quillmark::host
