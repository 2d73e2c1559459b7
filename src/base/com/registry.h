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

  /// Sets a value of a key, which is made where it does not exist; `name` null is its default
  /// value.
  [[nodiscard]] virtual LSTATUS Write(const std::wstring& key, const wchar_t* name,
                                      const std::wstring& value) = 0;
  /// Removes a key and everything under it; one that is not there is removed already.
  [[nodiscard]] virtual LSTATUS Remove(const std::wstring& key) = 0;
};

/// The registry of this machine.
[[nodiscard]] Registry& SystemRegistry();

}  // namespace quillmark::com
