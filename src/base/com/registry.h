// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

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

}  // namespace quillmark::com
