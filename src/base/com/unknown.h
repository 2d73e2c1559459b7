// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <atomic>

namespace quillmark::com {

/// Objects and locks of this module that keep it loaded.
inline std::atomic<long> module_uses = 0;

/// Counts the references to an object, starting at one, and keeps the module loaded meanwhile.
class ReferenceCount {
 public:
  ReferenceCount() { ++module_uses; }
  ReferenceCount(const ReferenceCount&) = delete;
  ReferenceCount& operator=(const ReferenceCount&) = delete;
  ~ReferenceCount() { --module_uses; }

  ULONG Increment() { return ++count_; }
  ULONG Decrement() { return --count_; }

 private:
  std::atomic<ULONG> count_ = 1;
};

/// Counts the references to an object that implements `Interfaces`, the first of which is its
/// identity, and deletes it with the last one.
template <typename First, typename... Others>
class Unknown : public First, public Others... {
 public:
  Unknown() = default;
  Unknown(const Unknown&) = delete;
  Unknown& operator=(const Unknown&) = delete;
  virtual ~Unknown() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    *object = Find(iid);
    if (*object == nullptr) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return references_.Increment(); }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = references_.Decrement();
    if (left == 0) {
      delete this;
    }
    return left;
  }

 protected:
  /// The interface of that identifier, without a reference; null if there is none. A class with
  /// further interfaces looks for those first.
  [[nodiscard]] virtual void* Find(REFIID iid) {
    if (iid == IID_IUnknown || iid == __uuidof(First)) {
      return static_cast<First*>(this);
    }
    void* found = nullptr;
    static_cast<void>(((iid == __uuidof(Others) && (found = static_cast<Others*>(this))) || ...));
    return found;
  }

 private:
  ReferenceCount references_;
};

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
