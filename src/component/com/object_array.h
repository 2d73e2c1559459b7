// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <vector>

#include "base/com/com_ptr.h"

namespace quillmark {

/// Objects, or Nothing, in the order of an array.
using ObjectList = std::vector<com::ComPtr<IDispatch>>;

/// Puts `objects` into a caller's array: in the place of the old array a new one whose indices
/// count from 0, with elements of `type` (VT_DISPATCH, VT_UNKNOWN or VT_VARIANT). An array that its
/// owner has fixed takes them as its elements if it has as many; otherwise raises 10.
void StoreObjects(const ObjectList& objects, VARTYPE type, SAFEARRAY*& array);

/// The objects of an array of VT_DISPATCH; of none at all, an empty list.
[[nodiscard]] ObjectList ObjectsIn(SAFEARRAY* array);

}  // namespace quillmark
