// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/com_ptr.h"

namespace quillmark {

/// The module that this code was linked into; the type library lies in its file.
[[nodiscard]] HMODULE ThisModule();

/// The type library itself. Raises what loading fails with.
[[nodiscard]] com::ComPtr<ITypeLib> TypeLibrary();

/// The description of an interface or class in the type library. Raises what loading fails with.
[[nodiscard]] com::ComPtr<ITypeInfo> TypeInfoOf(REFGUID id);

}  // namespace quillmark
