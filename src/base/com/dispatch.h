// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <initializer_list>
#include <string_view>

#include "base/com/variant.h"

namespace quillmark::com {

/// The identifier of a member. Raises 438, with a text that names the member, if the object has
/// none of that name, otherwise the failure of the object.
[[nodiscard]] DISPID MemberOf(IDispatch& object, std::wstring_view name);

/// Calls a method or reads a property: which of the two a member is, its server decides. The
/// arguments are in declaration order and are only read. Raises the number and description of the
/// object's exception, or the failure itself.
Variant Call(IDispatch& object, DISPID member,
             std::initializer_list<const VARIANT*> arguments = {});

/// Sets a property; the new value is the last of `arguments`.
void SetProperty(IDispatch& object, DISPID member, std::initializer_list<const VARIANT*> arguments);

}  // namespace quillmark::com
