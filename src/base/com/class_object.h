// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/unknown.h"

namespace quillmark::com {

/// Makes objects of one class. `create` returns a new object with one reference, or raises.
class ClassObject final : public Unknown<IClassFactory> {
 public:
  using Create = IUnknown* (*)();

  explicit ClassObject(Create create) : create_(create) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  Create create_;
};

}  // namespace quillmark::com
