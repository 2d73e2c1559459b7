// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/com_ptr.h"
#include "base/com/registration.h"

namespace quillmark {

/// The module that contains this code; the type library is in its file.
[[nodiscard]] HMODULE ThisModule();

/// The type library itself. Raises the failure if it cannot be loaded.
[[nodiscard]] com::ComPtr<ITypeLib> TypeLibrary();

/// The description of an interface or class in the type library. Raises the failure if it cannot be
/// loaded.
[[nodiscard]] com::ComPtr<ITypeInfo> TypeInfoOf(REFGUID id);

/// A new object of the class `DiagOnCANReprog`, with one reference.
[[nodiscard]] IUnknown* NewDiagOnCANReprog();

/// The class object of one of the component's classes. Raises 0x80040111 for any other class.
void GetClassObject(REFCLSID id, REFIID iid, void** object);

/// Registers the classes and the type library of this module, overwriting earlier entries. If the
/// registry refuses, nothing is left behind, and the error says what was refused and why.
void RegisterComponent(com::Registry& registry);

/// Removes all of that, as far as it is there.
void UnregisterComponent(com::Registry& registry);

}  // namespace quillmark
