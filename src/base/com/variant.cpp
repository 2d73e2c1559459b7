// SPDX-License-Identifier: MIT
#include "base/com/variant.h"

#include "base/com/status.h"

namespace quillmark::com {

Variant ConvertedTo(VARTYPE type, const VARIANT& value) {
  Variant converted;
  // Only read; not every header says so.
  auto& source = const_cast<VARIANT&>(value);
  const HRESULT status = VariantChangeType(converted.Put(), &source, 0, type);
  switch (status) {
    case DISP_E_OVERFLOW:
      throw Error(error_number::kOverflow);
    case DISP_E_TYPEMISMATCH:
      throw Error(error_number::kTypeMismatch);
    default:
      Require(status);
      return converted;
  }
}

}  // namespace quillmark::com
