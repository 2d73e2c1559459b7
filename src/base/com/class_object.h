// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/com_ptr.h"
#include "base/com/status.h"
#include "base/com/unknown.h"

namespace quillmark::com {

/// Makes objects of one class. `create` returns a new object with one reference, or raises.
class ClassObject final : public Unknown<IClassFactory> {
 public:
  using Create = IUnknown* (*)();

  explicit ClassObject(Create create) : create_(create) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    *object = nullptr;
    if (outer != nullptr) {
      return CLASS_E_NOAGGREGATION;
    }
    try {
      return ComPtr<IUnknown>::Adopt(create_())->QueryInterface(iid, object);
    } catch (...) {
      return ReportCurrent();
    }
  }

  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    module_uses += lock != FALSE ? 1 : -1;
    return S_OK;
  }

 private:
  Create create_;
};

}  // namespace quillmark::com
