#include "base/com/registration.h"

#include <windows.h>

#include <array>
#include <vector>

namespace quillmark::com {
namespace {

struct Entry {
  std::wstring key;
  const wchar_t* name;  ///< Null for the key's default value.
  std::wstring value;
};

std::vector<Entry> EntriesOf(const std::wstring& module, const RegisteredClass& registered) {
  const std::wstring id = TextOf(registered.id);
  const std::wstring class_key = L"CLSID\\" + id;
  return {{class_key, nullptr, registered.description},
          {class_key + L"\\InprocServer32", nullptr, module},
          {class_key + L"\\InprocServer32", L"ThreadingModel", L"Both"},
          {class_key + L"\\ProgID", nullptr, registered.prog_id},
          {registered.prog_id, nullptr, registered.description},
          {registered.prog_id + L"\\CLSID", nullptr, id}};
}

LSTATUS Write(const Entry& entry) {
  const auto size = (entry.value.size() + 1) * sizeof(wchar_t);
  return RegSetKeyValueW(HKEY_CLASSES_ROOT, entry.key.c_str(), entry.name, REG_SZ,
                         entry.value.c_str(), static_cast<DWORD>(size));
}

LSTATUS Write(const std::wstring& module, std::span<const RegisteredClass> classes) {
  for (const RegisteredClass& registered : classes) {
    for (const Entry& entry : EntriesOf(module, registered)) {
      if (const LSTATUS status = Write(entry); status != ERROR_SUCCESS) {
        return status;
      }
    }
  }
  return ERROR_SUCCESS;
}

LSTATUS Remove(const std::wstring& key) {
  const LSTATUS status = RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

LSTATUS Remove(std::span<const RegisteredClass> classes) {
  LSTATUS first_failure = ERROR_SUCCESS;
  for (const RegisteredClass& registered : classes) {
    for (const std::wstring& key : {registered.prog_id, L"CLSID\\" + TextOf(registered.id)}) {
      const LSTATUS status = Remove(key);
      first_failure = first_failure == ERROR_SUCCESS ? status : first_failure;
    }
  }
  return first_failure;
}

}  // namespace

HRESULT Register(const std::wstring& module, std::span<const RegisteredClass> classes) {
  const LSTATUS status = Write(module, classes);
  if (status != ERROR_SUCCESS) {
    static_cast<void>(Remove(classes));
  }
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

HRESULT Unregister(std::span<const RegisteredClass> classes) {
  return HRESULT_FROM_WIN32(static_cast<DWORD>(Remove(classes)));
}

std::wstring FileOf(HMODULE module) {
  std::wstring file(MAX_PATH, L'\0');
  for (;;) {
    const auto size = static_cast<DWORD>(file.size());
    const DWORD length = GetModuleFileNameW(module, file.data(), size);
    if (length < size) {
      file.resize(length);
      return file;
    }
    file.resize(file.size() * 2);
  }
}

std::wstring TextOf(const GUID& id) {
  std::array<wchar_t, 39> text = {};
  StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return text.data();
}

}  // namespace quillmark::com
