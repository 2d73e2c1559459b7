// SPDX-License-Identifier: MIT
// The entry points of the server.
#include <windows.h>

#include "base/com/registration.h"
#include "base/com/status.h"
#include "base/com/unknown.h"
#include "component/com/classes.h"

extern "C" {

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(module);
  }
  return TRUE;
}

HRESULT WINAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  return quillmark::com::Guarded([&] { quillmark::GetClassObject(id, iid, object); });
}

HRESULT WINAPI DllCanUnloadNow() { return quillmark::com::module_uses == 0 ? S_OK : S_FALSE; }

HRESULT WINAPI DllRegisterServer() {
  return quillmark::com::Guarded(
      [] { quillmark::RegisterComponent(quillmark::com::SystemRegistry()); });
}

HRESULT WINAPI DllUnregisterServer() {
  return quillmark::com::Guarded(
      [] { quillmark::UnregisterComponent(quillmark::com::SystemRegistry()); });
}
}
