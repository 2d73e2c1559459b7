// SPDX-License-Identifier: MIT
#include "component/com/type_library.h"

#include <oleauto.h>

#include "base/com/registration.h"
#include "base/com/status.h"

namespace quillmark {

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

}  // namespace quillmark
