// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/com_ptr.h"

namespace quillmark::windows {

/// A new object of the class `prog_id`, by the interface `iid`; `class_id` says which class it is.
/// Raises 429, with a text that names the class, if it is not registered, otherwise the failure of
/// the class with the same text.
[[nodiscard]] com::ComPtr<IUnknown> CreateObject(const wchar_t* prog_id, REFIID iid,
                                                 CLSID& class_id);

}  // namespace quillmark::windows
