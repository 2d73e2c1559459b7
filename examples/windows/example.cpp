// SPDX-License-Identifier: MIT
// A C++ host: reads a seed out of a reply, and shows an error. Needs the component and the stand-in
// for a host's library registered; see README.txt.
#include <windows.h>

#include <cstdio>

#include "quillmark_com.h"

namespace {

/// Prints the description that the last call left.
void PrintError(HRESULT status) {
  IErrorInfo* info = nullptr;
  BSTR description = nullptr;
  if (GetErrorInfo(0, &info) == S_OK) {
    info->GetDescription(&description);
    info->Release();
  }
  std::printf("error %ld: %ls\n", HRESULT_CODE(status), description == nullptr ? L"" : description);
  SysFreeString(description);
}

/// Prints the property `xml` of a document, which is one of MSXML.
void PrintXml(IDispatch& document) {
  wchar_t name[] = L"xml";
  LPOLESTR names = name;
  DISPID member = DISPID_UNKNOWN;
  VARIANT xml;
  VariantInit(&xml);
  DISPPARAMS none = {};
  document.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &member);
  document.Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &xml, nullptr,
                  nullptr);
  if (V_VT(&xml) == VT_BSTR) {
    std::printf("%ls", V_BSTR(&xml));
  }
  VariantClear(&xml);
}

int Run(IDiagOnCANReprog& reprog) {
  IDispatch* document = nullptr;
  HRESULT status = reprog.readseed(&document);
  if (FAILED(status)) {  // 91: CANIDs was not called
    PrintError(status);
  }
  reprog.CANIDs(1850, 1586);  // plain CAN: receive on 1850, send on 1586
  status = reprog.readseed(&document);
  if (FAILED(status)) {
    PrintError(status);
    return 1;
  }
  PrintXml(*document);
  document->Release();
  return 0;
}

}  // namespace

int main() {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  CLSID id = {};
  IDiagOnCANReprog* reprog = nullptr;
  HRESULT status = CLSIDFromProgID(L"Quillmark.DiagOnCANReprog", &id);
  if (SUCCEEDED(status)) {
    status = CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDiagOnCANReprog),
                              reinterpret_cast<void**>(&reprog));
  }
  if (FAILED(status)) {
    std::printf("the component is not registered: %08lX\n", static_cast<unsigned long>(status));
    CoUninitialize();
    return 1;
  }
  const int result = Run(*reprog);
  reprog->Release();
  CoUninitialize();
  return result;
}
