// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/calls/json_value.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/report.h"

namespace quillmark::host {

/// "flash"; "a command" if the plan does not say which.
[[nodiscard]] std::string_view NameOf(PlannedCommand command);

/// Names and values: which ECU, which image, which bus, when.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> FactsOf(const Artifacts& artifacts,
                                                                       const Decoding& decoding);

/// Everything that the page's script needs.
struct PageData {
  /// Facts, phases, messages and exchanges, and the number of frames.
  Json columns;
  /// The frames, packed in columns.
  Bytes frames;
};

[[nodiscard]] PageData PageDataOf(const Artifacts& artifacts);

}  // namespace quillmark::host
