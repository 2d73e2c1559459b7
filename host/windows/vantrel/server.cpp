// SPDX-License-Identifier: MIT
// The entry points of the server, and the classes that it serves.
#include <windows.h>

#include <algorithm>
#include <array>
#include <memory>

#include "base/com/class_object.h"
#include "base/com/com_ptr.h"
#include "base/com/registration.h"
#include "base/com/status.h"
#include "host/windows/vantrel/host_types.h"
#include "platform/portable/memory_byte_string.h"
#include "platform/portable/reference_types.h"

namespace quillmark::vantrel {
namespace {

HMODULE this_module = nullptr;

struct ServedClass {
  com::RegisteredClass registered;
  com::ClassObject::Create create;
};

template <typename Object, typename Type>
IUnknown* New() {
  return new Object(std::make_shared<Type>());
}

com::RegisteredClass Registered(const GUID& id, const std::wstring& name) {
  return {id, L"Vantrel." + name, name + L" (Quillmark's stand-in for a host library)"};
}

const std::array<ServedClass, 4>& Classes() {
  static const std::array<ServedClass, 4> classes = {{
      {Registered({0xB1A7D2C4, 0x6E0F, 0x4F37, {0x9A, 0x52, 0x3D, 0x18, 0xC6, 0x7E, 0x04, 0x91}},
                  L"ByteString"),
       &New<ByteStringObject, portable::MemoryByteString>},
      {Registered({0x0D83F96A, 0x2C5B, 0x4B8E, {0xB7, 0x1F, 0x60, 0xE4, 0x95, 0xA2, 0x3C, 0xD8}},
                  L"MemoryImage"),
       &New<MemoryImageObject, portable::SegmentImage>},
      {Registered({0x7F46A0E1, 0x93DC, 0x4A15, {0x8E, 0x0B, 0xF2, 0x57, 0x1D, 0x84, 0xB9, 0x63}},
                  L"MemoryMap"),
       &New<MemoryMapObject, portable::RangeMap>},
      {Registered({0xE2590B7D, 0x41F8, 0x4D6C, {0xA5, 0x93, 0x0C, 0xBE, 0x78, 0x2F, 0x46, 0x1A}},
                  L"ChecksumCalculator"),
       &New<ChecksumCalculatorObject, portable::SumChecksumCalculator>},
  }};
  return classes;
}

std::vector<com::RegisteredClass> RegisteredClasses() {
  std::vector<com::RegisteredClass> registered;
  std::transform(Classes().begin(), Classes().end(), std::back_inserter(registered),
                 [](const ServedClass& served) { return served.registered; });
  return registered;
}

void GetClassObject(REFCLSID id, REFIID iid, void** object) {
  const auto served =
      std::find_if(Classes().begin(), Classes().end(),
                   [&](const ServedClass& candidate) { return candidate.registered.id == id; });
  if (served == Classes().end()) {
    throw Error(CLASS_E_CLASSNOTAVAILABLE);
  }
  com::Require(com::ComPtr<IClassFactory>::Adopt(new com::ClassObject(served->create))
                   ->QueryInterface(iid, object));
}

}  // namespace
}  // namespace quillmark::vantrel

using namespace quillmark;           // NOLINT(google-build-using-namespace)
using namespace quillmark::vantrel;  // NOLINT(google-build-using-namespace)

extern "C" {

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    this_module = module;
    DisableThreadLibraryCalls(module);
  }
  return TRUE;
}

HRESULT WINAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  return com::Guarded([&] { GetClassObject(id, iid, object); });
}

HRESULT WINAPI DllCanUnloadNow() { return com::module_uses == 0 ? S_OK : S_FALSE; }

HRESULT WINAPI DllRegisterServer() {
  return com::Guarded(
      [] { com::Register(com::SystemRegistry(), com::FileOf(this_module), RegisteredClasses()); });
}

HRESULT WINAPI DllUnregisterServer() {
  return com::Guarded([] { com::Unregister(com::SystemRegistry(), RegisteredClasses()); });
}
}
