// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <vector>

#include "base/com/com_ptr.h"

namespace quillmark {

/// Objects, or Nothing, in the order of an array.
using ObjectList = std::vector<com::ComPtr<IDispatch>>;

/// Puts `objects` into a caller's array: a new array, indexed from 0, with elements of `type`
/// (VT_DISPATCH, VT_UNKNOWN or VT_VARIANT) replaces the old one. A fixed array gets them as its
/// elements if it has as many; otherwise 10 is raised.
void StoreObjects(const ObjectList& objects, VARTYPE type, SAFEARRAY*& array);

/// The objects of an array of VT_DISPATCH; an empty list for no array.
[[nodiscard]] ObjectList ObjectsIn(SAFEARRAY* array);

}  // namespace quillmark
