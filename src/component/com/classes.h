// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/registration.h"

namespace quillmark {

/// The class object of one of the component's classes. Raises 0x80040111 for any other class.
void GetClassObject(REFCLSID id, REFIID iid, void** object);

/// Registers the classes and the type library of this module, overwriting earlier entries. If the
/// registry refuses, nothing is left behind, and the error says what was refused and why.
void RegisterComponent(com::Registry& registry);

/// Removes all of that, as far as it is there.
void UnregisterComponent(com::Registry& registry);

}  // namespace quillmark
