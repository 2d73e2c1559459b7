// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/registry.h"

namespace quillmark {

/// The class object of one of the component's classes. Raises 0x80040111 for any other class.
void GetClassObject(REFCLSID id, REFIID iid, void** object);

/// Registers the classes and the type library of this module, over what is there already. Where the
/// registry refuses, nothing of it is left, and the error says what it refused and why.
void RegisterComponent(com::Registry& registry);

/// Removes all of that, and what of it is there.
void UnregisterComponent(com::Registry& registry);

}  // namespace quillmark
