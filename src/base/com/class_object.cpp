// SPDX-License-Identifier: MIT
#include "base/com/class_object.h"

#include "base/com/com_ptr.h"
#include "base/com/status.h"

namespace quillmark::com {

HRESULT ClassObject::CreateInstance(IUnknown* outer, REFIID iid, void** object) {
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

HRESULT ClassObject::LockServer(BOOL lock) {
  module_uses += lock != FALSE ? 1 : -1;
  return S_OK;
}

}  // namespace quillmark::com
