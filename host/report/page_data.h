// SPDX-License-Identifier: MIT
#pragma once

#include "host/calls/json.h"
#include "host/report/artifacts.h"

namespace quillmark::host {

/// Everything that the page's script needs, in columns.
[[nodiscard]] Json PageDataOf(const Artifacts& artifacts);

}  // namespace quillmark::host
