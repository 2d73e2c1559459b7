// SPDX-License-Identifier: MIT
#include "component/com/classes.h"

#include <oleauto.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/com/class_object.h"
#include "base/com/com_ptr.h"
#include "base/com/registration.h"
#include "base/com/status.h"
#include "base/com/text.h"
#include "component/com/quillmark_com.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark {
namespace {

struct ServedClass {
  GUID id;
  std::string_view prog_id;
  const wchar_t* description;
  com::ClassObject::Create create;
};

IUnknown* NewXMLDocClient() { CreateXMLDocClient(); }

const std::array<ServedClass, 2>& Classes() {
  static const std::array<ServedClass, 2> classes = {{
      {__uuidof(::DiagOnCANReprog), DiagOnCANReprog::kProgID, L"Quillmark DiagOnCANReprog",
       &NewDiagOnCANReprog},
      {__uuidof(::XMLDocClient), XMLDocClient::kProgID,
       L"Quillmark XMLDocClient (an interface; it cannot be created)", &NewXMLDocClient},
  }};
  return classes;
}

std::vector<com::RegisteredClass> RegisteredClasses(REFGUID type_library) {
  std::vector<com::RegisteredClass> registered;
  for (const ServedClass& served : Classes()) {
    registered.push_back(
        {served.id, com::Utf16Of(served.prog_id), served.description, type_library});
  }
  return registered;
}

/// The identity of a type library as the registry knows it.
class LibraryAttributes {
 public:
  explicit LibraryAttributes(ITypeLib& library) : library_(library) {
    com::Require(library.GetLibAttr(&attributes_));
  }
  LibraryAttributes(const LibraryAttributes&) = delete;
  LibraryAttributes& operator=(const LibraryAttributes&) = delete;
  ~LibraryAttributes() { library_.ReleaseTLibAttr(attributes_); }

  const TLIBATTR* operator->() const { return attributes_; }

 private:
  ITypeLib& library_;
  TLIBATTR* attributes_ = nullptr;
};

void RegisterTypeLibrary(ITypeLib& library, std::wstring module) {
  const HRESULT status = RegisterTypeLib(&library, module.data(), nullptr);
  if (FAILED(status)) {
    throw Error(status, "Cannot register the type library of " + com::Utf8Of(module));
  }
}

/// A class that is not registered counts as unregistered. The last status is that of Wine.
bool SaysNotRegistered(HRESULT status) {
  return status == TYPE_E_REGISTRYACCESS || status == TYPE_E_LIBNOTREGISTERED ||
         status == E_INVALIDARG;
}

void UnregisterTypeLibrary(const LibraryAttributes& library) {
  const HRESULT status = UnRegisterTypeLib(library->guid, library->wMajorVerNum,
                                           library->wMinorVerNum, library->lcid, library->syskind);
  if (FAILED(status) && !SaysNotRegistered(status)) {
    throw Error(status, "Cannot unregister the type library");
  }
}

/// Undoes what a failed registration has written; the failure of the registration is the one to
/// report.
void Withdraw(com::Registry& registry, std::span<const com::RegisteredClass> classes) {
  try {
    com::Unregister(registry, classes);
  } catch (const Error&) {
    return;
  }
}

}  // namespace

HMODULE ThisModule() {
  // Any address within the module will do.
  static const int anchor = 0;
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&anchor), &module);
  return module;
}

com::ComPtr<ITypeLib> TypeLibrary() {
  // The system keeps a library that is in use, so only the first object has to load it.
  com::ComPtr<ITypeLib> library;
  com::Require(LoadTypeLibEx(com::FileOf(ThisModule()).c_str(), REGKIND_NONE, library.Put()));
  return library;
}

com::ComPtr<ITypeInfo> TypeInfoOf(REFGUID id) {
  com::ComPtr<ITypeInfo> info;
  com::Require(TypeLibrary()->GetTypeInfoOfGuid(id, info.Put()));
  return info;
}

void GetClassObject(REFCLSID id, REFIID iid, void** object) {
  const auto served =
      std::find_if(Classes().begin(), Classes().end(),
                   [&](const ServedClass& candidate) { return candidate.id == id; });
  if (served == Classes().end()) {
    throw Error(CLASS_E_CLASSNOTAVAILABLE);
  }
  com::Require(com::ComPtr<IClassFactory>::Adopt(new com::ClassObject(served->create))
                   ->QueryInterface(iid, object));
}

void RegisterComponent(com::Registry& registry) {
  const std::wstring module = com::FileOf(ThisModule());
  const auto library = TypeLibrary();
  const auto classes = RegisteredClasses(LibraryAttributes(*library)->guid);
  com::Register(registry, module, classes);
  try {
    RegisterTypeLibrary(*library, module);
  } catch (const Error&) {
    Withdraw(registry, classes);
    throw;
  }
}

void UnregisterComponent(com::Registry& registry) {
  const auto library = TypeLibrary();
  const LibraryAttributes attributes(*library);
  com::Unregister(registry, RegisteredClasses(attributes->guid));
  UnregisterTypeLibrary(attributes);
}

}  // namespace quillmark
