// SPDX-License-Identifier: MIT
#include "base/com/variant.h"

#include "base/com/status.h"

namespace quillmark::com {

VARIANT& Follow(VARIANT& value) {
  // Deeper than any language nests references to variables: anything deeper is a cycle.
  constexpr int kDeepest = 64;
  VARIANT* end = &value;
  for (int level = 0; level < kDeepest; ++level) {
    const bool is_reference = (V_VT(end) & VT_BYREF) != 0;
    if (is_reference && V_BYREF(end) == nullptr) {
      break;
    }
    if (V_VT(end) != (VT_BYREF | VT_VARIANT)) {
      return *end;
    }
    end = V_VARIANTREF(end);
  }
  throw Error(error_number::kTypeMismatch);
}

Variant ValueOf(VARIANT& value) {
  Variant copy;
  Require(VariantCopyInd(copy.Put(), &Follow(value)));
  return copy;
}

Variant ConvertedTo(VARTYPE type, const VARIANT& value) {
  Variant converted;
  // Only read; not every header declares that.
  auto& source = Follow(const_cast<VARIANT&>(value));
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
