// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// Whole percent of the bytes of a phase; 0 for a phase that moves none.
[[nodiscard]] unsigned Percent(const Progress& progress);

/// "asked again 3 times"; empty for 0.
[[nodiscard]] std::string RepeatedText(std::uint32_t repeated);

/// "identify", or "download   40 %  20,480 of 51,200 B   38.2 kB/s  0.80 s left". Behind it
/// stands how often requests were sent again, if any was.
[[nodiscard]] std::string ProgressText(const Progress& progress);

/// The same with a bar that fits into `columns`.
[[nodiscard]] std::string ProgressBar(const Progress& progress, std::size_t columns);

}  // namespace quillmark::host
