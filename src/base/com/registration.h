#pragma once

#include <windows.h>

#include <span>
#include <string>

namespace quillmark::com {

/// A class of an in-process server.
struct RegisteredClass {
  GUID id;
  std::wstring prog_id;
  std::wstring description;
};

/// Writes the classes of the server in the file `module` into the registry, threading model Both;
/// over what is there already. Returns the registry's status; after a failure nothing is left.
[[nodiscard]] HRESULT Register(const std::wstring& module,
                               std::span<const RegisteredClass> classes);

/// Removes all that `Register` wrote, and what of it is there. Goes on after a failure, and returns
/// the first.
[[nodiscard]] HRESULT Unregister(std::span<const RegisteredClass> classes);

/// The file that a loaded module came from. Raises 7 out of memory.
[[nodiscard]] std::wstring FileOf(HMODULE module);

/// "{xxxxxxxx-…}".
[[nodiscard]] std::wstring TextOf(const GUID& id);

}  // namespace quillmark::com
