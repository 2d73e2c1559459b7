// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/report/artifacts.h"

namespace quillmark::host {

/// A whole page in HTML, which needs no other file and no network.
[[nodiscard]] std::string RenderPage(const Artifacts& artifacts);

}  // namespace quillmark::host
