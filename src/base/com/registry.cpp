// SPDX-License-Identifier: MIT
#include "base/com/registry.h"

namespace quillmark::com {
namespace {

class ClassesRoot final : public Registry {
 public:
  LSTATUS Write(const std::wstring& key, const wchar_t* name, const std::wstring& value) override {
    const auto size = (value.size() + 1) * sizeof(wchar_t);
    return RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, value.c_str(),
                           static_cast<DWORD>(size));
  }

  LSTATUS Remove(const std::wstring& key) override {
    const LSTATUS status = RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
  }
};

}  // namespace

Registry& SystemRegistry() {
  static ClassesRoot registry;
  return registry;
}

}  // namespace quillmark::com
