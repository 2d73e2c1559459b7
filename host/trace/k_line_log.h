// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "host/trace/trace.h"

namespace quillmark::host {

/// A line of a K line trace behind its title. Raises DamagedTrace for a line that is none.
[[nodiscard]] TraceEntry ReadKLineLine(std::string_view line);

}  // namespace quillmark::host
