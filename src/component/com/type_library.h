// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/com_ptr.h"

namespace quillmark {

/// The module that contains this code; the type library is in its file.
[[nodiscard]] HMODULE ThisModule();

/// The type library itself. Raises the failure if it cannot be loaded.
[[nodiscard]] com::ComPtr<ITypeLib> TypeLibrary();

/// The description of an interface or class in the type library. Raises the failure if it cannot be
/// loaded.
[[nodiscard]] com::ComPtr<ITypeInfo> TypeInfoOf(REFGUID id);

}  // namespace quillmark
