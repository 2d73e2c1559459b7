// SPDX-License-Identifier: MIT
#include "base/com/status.h"

#include <exception>
#include <new>
#include <utility>

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

}  // namespace quillmark::com
