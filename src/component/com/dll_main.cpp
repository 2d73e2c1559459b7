#include <windows.h>
#include <objbase.h>

// The entry points of a COM server.

STDAPI DllGetClassObject(REFCLSID /*clsid*/, REFIID /*iid*/, void** object) {
  *object = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return S_OK; }

STDAPI DllRegisterServer() { return S_OK; }

STDAPI DllUnregisterServer() { return S_OK; }
