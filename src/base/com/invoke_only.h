// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/unknown.h"

namespace quillmark::com {

/// An object whose members are called by their identifiers only, such as the sink of an event.
class InvokeOnly : public Unknown<IDispatch> {
 public:
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (count == nullptr) {
      return E_POINTER;
    }
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT /*index*/, LCID /*locale*/,
                                        ITypeInfo** info) override {
    if (info != nullptr) {
      *info = nullptr;
    }
    return DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID /*reserved*/, LPOLESTR* /*names*/, UINT /*count*/,
                                          LCID /*locale*/, DISPID* /*ids*/) override {
    return DISP_E_UNKNOWNNAME;
  }
};

}  // namespace quillmark::com
