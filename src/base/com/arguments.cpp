// SPDX-License-Identifier: MIT
#include "base/com/arguments.h"

#include "base/com/variant.h"
#include "quillmark/error.h"

namespace quillmark::com {
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
