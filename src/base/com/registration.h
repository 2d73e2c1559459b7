// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <span>
#include <string>

namespace quillmark::com {

/// The part of the registry that describes classes, HKEY_CLASSES_ROOT.
class Registry {
 public:
  Registry() = default;
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;
  virtual ~Registry() = default;

  /// Sets a value of a key, which is created if it does not exist. A null `name` means the default
  /// value.
  [[nodiscard]] virtual LSTATUS Write(const std::wstring& key, const wchar_t* name,
                                      const std::wstring& value) = 0;
  /// Removes a key and everything below it. A missing key is not an error.
  [[nodiscard]] virtual LSTATUS Remove(const std::wstring& key) = 0;
};

/// The registry of this machine.
[[nodiscard]] Registry& SystemRegistry();

/// A class of an in-process server.
struct RegisteredClass {
  GUID id;
  std::wstring prog_id;
  std::wstring description;
  /// The type library that describes the class, or GUID_NULL.
  GUID type_library = GUID_NULL;
};

/// Writes the classes of the server in the file `module` into the registry, with the threading
/// model Both, overwriting earlier entries. If the registry refuses, nothing is left behind, and
/// the error, whose number is the status, names the key and the reason.
void Register(Registry& registry, const std::wstring& module,
              std::span<const RegisteredClass> classes);

/// Removes what `Register` wrote, as far as it is there. Continues after a failure, and raises the
/// first.
void Unregister(Registry& registry, std::span<const RegisteredClass> classes);

/// The file of a loaded module. Raises 7 if out of memory.
[[nodiscard]] std::wstring FileOf(HMODULE module);

/// "{xxxxxxxx-…}".
[[nodiscard]] std::wstring TextOf(const GUID& id);

}  // namespace quillmark::com
