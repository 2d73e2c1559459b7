// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <initializer_list>
#include <string_view>

#include "base/com/variant.h"

namespace quillmark::com {

/// The identifier of a member. Raises 438 with a text that names it if the object has no such
/// member, otherwise what the object fails with.
[[nodiscard]] DISPID MemberOf(IDispatch& object, std::wstring_view name);

/// Calls a method or reads a property; which of both a member is, is its server's choice. The
/// arguments stand as declared and are only read. Raises the number and description of the object's
/// exception, or the failure itself.
Variant Call(IDispatch& object, DISPID member,
             std::initializer_list<const VARIANT*> arguments = {});

/// Sets a property; the new value is the last of `arguments`.
void SetProperty(IDispatch& object, DISPID member, std::initializer_list<const VARIANT*> arguments);

}  // namespace quillmark::com
