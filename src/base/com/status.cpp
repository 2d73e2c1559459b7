// SPDX-License-Identifier: MIT
#include "base/com/status.h"

#include <oleauto.h>

#include <exception>
#include <new>
#include <utility>

#include "base/com/com_ptr.h"

namespace quillmark::com {
namespace {

Bstr TakeOver(BSTR& text) {
  Bstr owned;
  *owned.Put() = std::exchange(text, nullptr);
  return owned;
}

HRESULT StatusIn(const EXCEPINFO& exception) {
  if (FAILED(exception.scode)) {
    return exception.scode;
  }
  return exception.wCode != 0 ? StatusOf(exception.wCode) : E_FAIL;
}

ComPtr<IErrorInfo> NewErrorInfo(const Error& error) {
  ComPtr<ICreateErrorInfo> info;
  Bstr description(error.Description());
  if (FAILED(CreateErrorInfo(info.Put())) || FAILED(info->SetDescription(description.get()))) {
    return {};
  }
  return info.As<IErrorInfo>();
}

}  // namespace

Error ErrorOf(HRESULT status, EXCEPINFO& exception) {
  if (status == DISP_E_EXCEPTION && exception.pfnDeferredFillIn != nullptr) {
    exception.pfnDeferredFillIn(&exception);
  }
  const Bstr source = TakeOver(exception.bstrSource);
  const Bstr help = TakeOver(exception.bstrHelpFile);
  const Bstr description = TakeOver(exception.bstrDescription);
  if (status != DISP_E_EXCEPTION) {
    return Error(NumberOf(status));
  }
  const std::int32_t number = NumberOf(StatusIn(exception));
  return description.view().empty() ? Error(number) : Error(number, description.utf8());
}

Error CurrentError() noexcept {
  try {
    throw;
  } catch (const Error& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return Error(error_number::kOutOfMemory);
  } catch (const std::exception& error) {
    return {E_UNEXPECTED, error.what()};
  } catch (...) {
    return Error(E_UNEXPECTED);
  }
}

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
