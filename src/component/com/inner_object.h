// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

namespace quillmark {

/// An interface that a part of an object implements: identity and references are those of the whole
/// object.
template <typename Interface>
class InnerObject : public Interface {
 public:
  explicit InnerObject(IUnknown& whole) : whole_(whole) {}
  InnerObject(const InnerObject&) = delete;
  InnerObject& operator=(const InnerObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    return whole_.QueryInterface(iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return whole_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return whole_.Release(); }

 protected:
  ~InnerObject() = default;

 private:
  IUnknown& whole_;
};

}  // namespace quillmark
