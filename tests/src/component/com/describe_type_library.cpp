// SPDX-License-Identifier: MIT
// describe_type_library FILE: prints what the type library of a DLL says, the same for a 32-bit and
// a 64-bit one.
#include <windows.h>

#include <iostream>
#include <string>

#include "base/com/com_ptr.h"
#include "base/com/registration.h"
#include "base/com/status.h"
#include "base/com/text.h"

namespace quillmark::testing {
namespace {

/// The name of a member or, for MEMBERID_NIL, of the type itself.
std::string NameOf(ITypeInfo& info, MEMBERID member) {
  com::Bstr name;
  com::Require(info.GetDocumentation(member, name.Put(), nullptr, nullptr, nullptr));
  return name.utf8();
}

std::string TypeText(ITypeInfo& info, const TYPEDESC& type) {
  switch (type.vt) {
    case VT_PTR:
      return TypeText(info, *type.lptdesc) + "*";
    case VT_SAFEARRAY:
      return "array of " + TypeText(info, *type.lptdesc);
    case VT_USERDEFINED: {
      com::ComPtr<ITypeInfo> named;
      com::Require(info.GetRefTypeInfo(type.hreftype, named.Put()));
      return NameOf(*named, MEMBERID_NIL);
    }
    default:
      return "type " + std::to_string(type.vt);
  }
}

void PrintFunction(ITypeInfo& info, const FUNCDESC& function) {
  // Slots are counted, since their size depends on the machine.
  std::cout << "  " << NameOf(info, function.memid) << " id " << function.memid << " slot "
            << function.oVft / static_cast<int>(sizeof(void*)) << " kind " << function.invkind
            << " convention " << function.callconv << " gives "
            << TypeText(info, function.elemdescFunc.tdesc);
  for (SHORT index = 0; index < function.cParams; ++index) {
    const ELEMDESC& parameter = function.lprgelemdescParam[index];
    std::cout << ", " << TypeText(info, parameter.tdesc) << " flags "
              << parameter.paramdesc.wParamFlags;
  }
  std::cout << "\n";
}

void PrintType(ITypeInfo& info) {
  TYPEATTR* attributes = nullptr;
  com::Require(info.GetTypeAttr(&attributes));
  std::cout << NameOf(info, MEMBERID_NIL) << " " << com::Utf8Of(com::TextOf(attributes->guid))
            << " kind " << attributes->typekind << " flags " << attributes->wTypeFlags << "\n";
  for (UINT index = 0; index < attributes->cImplTypes; ++index) {
    HREFTYPE reference = 0;
    INT flags = 0;
    com::ComPtr<ITypeInfo> implemented;
    com::Require(info.GetRefTypeOfImplType(index, &reference));
    com::Require(info.GetImplTypeFlags(index, &flags));
    com::Require(info.GetRefTypeInfo(reference, implemented.Put()));
    std::cout << "  is " << NameOf(*implemented, MEMBERID_NIL) << " flags " << flags << "\n";
  }
  for (UINT index = 0; index < attributes->cFuncs; ++index) {
    FUNCDESC* function = nullptr;
    com::Require(info.GetFuncDesc(index, &function));
    PrintFunction(info, *function);
    info.ReleaseFuncDesc(function);
  }
  info.ReleaseTypeAttr(attributes);
}

void Print(const wchar_t* file) {
  com::ComPtr<ITypeLib> library;
  com::Require(LoadTypeLibEx(file, REGKIND_NONE, library.Put()));
  for (UINT index = 0; index < library->GetTypeInfoCount(); ++index) {
    com::ComPtr<ITypeInfo> info;
    com::Require(library->GetTypeInfo(index, info.Put()));
    PrintType(*info);
  }
}

}  // namespace
}  // namespace quillmark::testing

int main(int count, char** words) {
  try {
    quillmark::testing::Print(quillmark::com::Utf16Of(count == 2 ? words[1] : "").c_str());
    return 0;
  } catch (const quillmark::Error& error) {
    std::cerr << "describe_type_library: " << std::hex << error.Number() << " "
              << error.Description() << "\n";
    return 1;
  }
}
