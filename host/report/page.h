// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/calls/json.h"
#include "host/report/artifacts.h"

namespace quillmark::host {

/// A whole page in HTML, which needs no other file and no network.
[[nodiscard]] std::string RenderPage(const Artifacts& artifacts);

/// Everything that the page's script needs, in columns.
[[nodiscard]] Json PageDataOf(const Artifacts& artifacts);

}  // namespace quillmark::host
