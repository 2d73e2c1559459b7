// SPDX-License-Identifier: MIT
#include "base/com/registration.h"

#include <array>
#include <memory>
#include <vector>

#include "base/com/text.h"
#include "quillmark/error.h"

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

struct Entry {
  std::wstring key;
  const wchar_t* name;  ///< Null for the key's default value.
  std::wstring value;
};

std::wstring ClassKey(const RegisteredClass& registered) {
  return L"CLSID\\" + TextOf(registered.id);
}

std::vector<Entry> EntriesOf(const std::wstring& module, const RegisteredClass& registered) {
  const std::wstring class_key = ClassKey(registered);
  std::vector<Entry> entries = {{class_key, nullptr, registered.description},
                                {class_key + L"\\InprocServer32", nullptr, module},
                                {class_key + L"\\InprocServer32", L"ThreadingModel", L"Both"},
                                {class_key + L"\\ProgID", nullptr, registered.prog_id},
                                {registered.prog_id, nullptr, registered.description},
                                {registered.prog_id + L"\\CLSID", nullptr, TextOf(registered.id)}};
  if (registered.type_library != GUID_NULL) {
    entries.push_back({class_key + L"\\TypeLib", nullptr, TextOf(registered.type_library)});
  }
  return entries;
}

/// The system's text for a failure, without the full stop and line end after it.
std::string ReasonOf(LSTATUS status) {
  wchar_t* text = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(status), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  const std::unique_ptr<wchar_t, decltype(&LocalFree)> owner(text, &LocalFree);
  std::wstring_view reason(text, length);
  const auto end = reason.find_last_not_of(L".\r\n ");
  reason = reason.substr(0, end == std::wstring_view::npos ? 0 : end + 1);
  return reason.empty() ? "error " + std::to_string(status) : Utf8Of(reason);
}

/// The error for a key of the registry that cannot be written or removed.
Error Refused(const std::string& verb, const std::wstring& key, LSTATUS status) {
  return {HRESULT_FROM_WIN32(static_cast<DWORD>(status)),
          "Cannot " + verb + " HKEY_CLASSES_ROOT\\" + Utf8Of(key) + ": " + ReasonOf(status)};
}

void Write(Registry& registry, const Entry& entry) {
  const LSTATUS status = registry.Write(entry.key, entry.name, entry.value);
  if (status != ERROR_SUCCESS) {
    throw Refused("write", entry.key, status);
  }
}

/// Removes all keys that it can, and then raises the first failure.
class Removal {
 public:
  explicit Removal(Registry& registry) : registry_(registry) {}

  void Remove(const std::wstring& key) {
    const LSTATUS status = registry_.Remove(key);
    if (status != ERROR_SUCCESS && first_status_ == ERROR_SUCCESS) {
      first_status_ = status;
      first_key_ = key;
    }
  }

  void RaiseFailure() const {
    if (first_status_ != ERROR_SUCCESS) {
      throw Refused("remove", first_key_, first_status_);
    }
  }

 private:
  Registry& registry_;
  LSTATUS first_status_ = ERROR_SUCCESS;
  std::wstring first_key_;
};

Removal Remove(Registry& registry, std::span<const RegisteredClass> classes) {
  Removal removal(registry);
  for (const RegisteredClass& registered : classes) {
    removal.Remove(registered.prog_id);
    removal.Remove(ClassKey(registered));
  }
  return removal;
}

}  // namespace

Registry& SystemRegistry() {
  static ClassesRoot registry;
  return registry;
}

void Register(Registry& registry, const std::wstring& module,
              std::span<const RegisteredClass> classes) {
  try {
    for (const RegisteredClass& registered : classes) {
      for (const Entry& entry : EntriesOf(module, registered)) {
        Write(registry, entry);
      }
    }
  } catch (...) {
    Remove(registry, classes);
    throw;
  }
}

void Unregister(Registry& registry, std::span<const RegisteredClass> classes) {
  Remove(registry, classes).RaiseFailure();
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
