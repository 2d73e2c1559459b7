// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/com_ptr.h"

namespace quillmark {

/// The four members of `IDispatch` for a dual interface, by its description in the type library.
/// Arguments are converted to the declared types first, so that a Long or Byte out of range raises
/// 6 and anything of the wrong kind 13, whatever the script passed; arrays and objects by reference
/// may be variables of a script.
class DualDispatch {
 public:
  explicit DualDispatch(REFIID iid);

  HRESULT GetTypeInfoCount(UINT* count) const;
  HRESULT GetTypeInfo(UINT index, ITypeInfo** info) const;
  HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const;
  /// `target` is the object by that dual interface.
  HRESULT Invoke(void* target, DISPID member, WORD kind, DISPPARAMS* parameters, VARIANT* result,
                 EXCEPINFO* exception, UINT* bad_argument) const;

 private:
  com::ComPtr<ITypeInfo> info_;
};

/// `Base` with the members of `IDispatch` that its dual interface `Interface` needs.
template <typename Interface, typename Base>
class Dual : public Base {
 public:
  template <typename... Arguments>
  explicit Dual(Arguments&... arguments) : Base(arguments...), dispatch_(__uuidof(Interface)) {}

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) final {
    return dispatch_.GetTypeInfoCount(count);
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID /*locale*/, ITypeInfo** info) final {
    return dispatch_.GetTypeInfo(index, info);
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID /*reserved*/, LPOLESTR* names, UINT count,
                                          LCID /*locale*/, DISPID* ids) final {
    return dispatch_.GetIDsOfNames(names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID /*reserved*/, LCID /*locale*/, WORD kind,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad_argument) final {
    return dispatch_.Invoke(static_cast<Interface*>(this), member, kind, parameters, result,
                            exception, bad_argument);
  }

 private:
  DualDispatch dispatch_;
};

}  // namespace quillmark
