// SPDX-License-Identifier: MIT
#pragma once

#include "host/report/artifacts.h"

namespace quillmark::host {

/// Everything that the page's script needs, in columns. Raises DamagedArtifacts for a plan or a
/// result without what belongs there.
[[nodiscard]] Json PageDataOf(const Artifacts& artifacts);

}  // namespace quillmark::host
