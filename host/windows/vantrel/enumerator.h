// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "base/com/variant.h"

namespace quillmark::vantrel {

/// An enumerator over `items`, which are objects, for `For Each`.
[[nodiscard]] com::Variant EnumeratorOf(std::vector<com::ComPtr<IDispatch>> items);

}  // namespace quillmark::vantrel
