// SPDX-License-Identifier: MIT
#include "base/com/arguments.h"

#include <algorithm>

#include "base/com/variant.h"
#include "quillmark/error.h"

namespace quillmark::com {

HRESULT CheckParameters(const DISPPARAMS* parameters) {
  if (parameters == nullptr || (parameters->cArgs > 0 && parameters->rgvarg == nullptr) ||
      (parameters->cNamedArgs > 0 && parameters->rgdispidNamedArgs == nullptr)) {
    return E_INVALIDARG;
  }
  return parameters->cNamedArgs > parameters->cArgs ? DISP_E_BADPARAMCOUNT : S_OK;
}

HRESULT CheckNames(const LPOLESTR* names, UINT count, const DISPID* ids) {
  const bool is_complete =
      names != nullptr && ids != nullptr && count > 0 &&
      std::none_of(names, names + count, [](const OLECHAR* name) { return name == nullptr; });
  return is_complete ? S_OK : E_INVALIDARG;
}

std::int32_t Arguments::Long(std::size_t index) const {
  return V_I4(&ConvertedTo(VT_I4, At(index)).get());
}

std::uint8_t Arguments::Byte(std::size_t index) const {
  return V_UI1(&ConvertedTo(VT_UI1, At(index)).get());
}

Bstr Arguments::Text(std::size_t index) const {
  const Variant text = ConvertedTo(VT_BSTR, At(index));
  return Bstr(View(V_BSTR(&text.get())));
}

ComPtr<IDispatch> Arguments::Object(std::size_t index) const {
  const Variant object = ConvertedTo(VT_DISPATCH, At(index));
  if (V_DISPATCH(&object.get()) == nullptr) {
    throw Error(error_number::kTypeMismatch);
  }
  return ComPtr<IDispatch>(V_DISPATCH(&object.get()));
}

}  // namespace quillmark::com
