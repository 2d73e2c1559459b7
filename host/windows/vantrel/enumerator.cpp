// SPDX-License-Identifier: MIT
#include "host/windows/vantrel/enumerator.h"

#include <windows.h>

#include <utility>

#include "base/com/enumerator.h"

namespace quillmark::vantrel {
namespace {

struct ObjectPolicy {
  using Item = com::ComPtr<IDispatch>;
  using Raw = VARIANT;
  static Raw Copy(const Item& item) { return com::Variant::OfObject(item).Detach(); }
};

}  // namespace

com::Variant EnumeratorOf(std::vector<com::ComPtr<IDispatch>> items) {
  com::Variant variant;
  V_UNKNOWN(variant.Put()) = new com::Enumerator<IEnumVARIANT, ObjectPolicy>(std::move(items));
  V_VT(variant.InOut()) = VT_UNKNOWN;
  return variant;
}

}  // namespace quillmark::vantrel
