// SPDX-License-Identifier: MIT
#include "component/com/dual_dispatch.h"

#include <oleauto.h>

#include "base/com/arguments.h"
#include "base/com/status.h"
#include "base/com/text.h"
#include "component/com/call_arguments.h"
#include "component/com/classes.h"

namespace quillmark {
namespace {

/// Reports an error that was found before or after the member itself ran.
HRESULT Describe(const Error& error, EXCEPINFO* exception) {
  if (exception == nullptr) {
    return com::Report(error);
  }
  *exception = {};
  exception->scode = com::StatusOf(error.Number());
  exception->bstrDescription = com::Bstr(error.Description()).Detach();
  return DISP_E_EXCEPTION;
}

/// Stores them also after an error, since the member has stored what it had by then; the error of
/// the member is then the one to report.
HRESULT StoreResults(const CallArguments& arguments, HRESULT status) {
  try {
    arguments.StoreResults();
  } catch (const Error&) {
    if (SUCCEEDED(status)) {
      throw;
    }
  }
  return status;
}

}  // namespace

DualDispatch::DualDispatch(REFIID iid) : info_(TypeInfoOf(iid)) {}

HRESULT DualDispatch::GetTypeInfoCount(UINT* count) const {
  if (count == nullptr) {
    return E_POINTER;
  }
  *count = 1;
  return S_OK;
}

HRESULT DualDispatch::GetTypeInfo(UINT index, ITypeInfo** info) const {
  if (info == nullptr) {
    return E_POINTER;
  }
  *info = index == 0 ? com::Share(info_.get()).Detach() : nullptr;
  return index == 0 ? S_OK : DISP_E_BADINDEX;
}

HRESULT DualDispatch::GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const {
  const HRESULT status = com::CheckNames(names, count, ids);
  return FAILED(status) ? status : DispGetIDsOfNames(info_.get(), names, count, ids);
}

HRESULT DualDispatch::Invoke(void* target, DISPID member, WORD kind, DISPPARAMS* parameters,
                             VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) const {
  if (const HRESULT status = com::CheckParameters(parameters); FAILED(status)) {
    return status;
  }
  try {
    CallArguments arguments(*info_, member, *parameters);
    SetErrorInfo(0, nullptr);
    const HRESULT status = info_->Invoke(target, member, kind, &arguments.Parameters(), result,
                                         exception, bad_argument);
    return StoreResults(arguments, status);
  } catch (...) {
    return Describe(com::CurrentError(), exception);
  }
}

}  // namespace quillmark
