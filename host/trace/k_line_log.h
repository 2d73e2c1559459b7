// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "host/trace/trace.h"

namespace quillmark::host {

/// A line of a K line trace after its title. Raises DamagedTrace for any other line.
[[nodiscard]] TraceEntry ReadKLineLine(std::string_view line);

}  // namespace quillmark::host
