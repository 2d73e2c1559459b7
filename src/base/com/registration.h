// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <span>
#include <string>

#include "base/com/registry.h"

namespace quillmark::com {

/// A class of an in-process server.
struct RegisteredClass {
  GUID id;
  std::wstring prog_id;
  std::wstring description;
  /// The type library that describes the class, or GUID_NULL.
  GUID type_library = GUID_NULL;
};

/// Writes the classes of the server in the file `module` into the registry, threading model Both;
/// over what is there already. Where the registry refuses, nothing of it is left, and the error,
/// its status as number, names the key and says why.
void Register(Registry& registry, const std::wstring& module,
              std::span<const RegisteredClass> classes);

/// Removes all that `Register` wrote, and what of it is there. Goes on after a failure, and raises
/// the first.
void Unregister(Registry& registry, std::span<const RegisteredClass> classes);

/// The file that a loaded module came from. Raises 7 out of memory.
[[nodiscard]] std::wstring FileOf(HMODULE module);

/// "{xxxxxxxx-…}".
[[nodiscard]] std::wstring TextOf(const GUID& id);

}  // namespace quillmark::com
