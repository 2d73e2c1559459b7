// SPDX-License-Identifier: MIT
#include "base/com/error_info.h"

#include <oleauto.h>

#include "base/com/com_ptr.h"
#include "base/com/status.h"
#include "base/com/text.h"

namespace quillmark::com {
namespace {

ComPtr<IErrorInfo> NewErrorInfo(const Error& error) {
  ComPtr<ICreateErrorInfo> info;
  Bstr description(error.Description());
  if (FAILED(CreateErrorInfo(info.Put())) || FAILED(info->SetDescription(description.get()))) {
    return {};
  }
  return info.As<IErrorInfo>();
}

}  // namespace

HRESULT Report(const Error& error) noexcept {
  const HRESULT status = StatusOf(error.Number());
  try {
    SetErrorInfo(0, NewErrorInfo(error).get());
  } catch (...) {
    // Without memory for its text, only the status is left.
    SetErrorInfo(0, nullptr);
  }
  return status;
}

HRESULT ReportCurrent() noexcept { return Report(CurrentError()); }

Error ReportedError(HRESULT status) {
  ComPtr<IErrorInfo> info;
  Bstr description;
  if (GetErrorInfo(0, info.Put()) != S_OK || FAILED(info->GetDescription(description.Put())) ||
      description.view().empty()) {
    return Error(NumberOf(status));
  }
  return {NumberOf(status), description.utf8()};
}

}  // namespace quillmark::com
