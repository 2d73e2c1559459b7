#include "host/windows/vantrel/arguments.h"

#include "base/com/variant.h"
#include "quillmark/error.h"

namespace quillmark::vantrel {
std::int32_t Arguments::Long(std::size_t index) const {
  return V_I4(&com::ConvertedTo(VT_I4, At(index)).get());
}

std::uint8_t Arguments::Byte(std::size_t index) const {
  return V_UI1(&com::ConvertedTo(VT_UI1, At(index)).get());
}

com::Bstr Arguments::Text(std::size_t index) const {
  const com::Variant text = com::ConvertedTo(VT_BSTR, At(index));
  return com::Bstr(com::View(V_BSTR(&text.get())));
}

com::ComPtr<IDispatch> Arguments::Object(std::size_t index) const {
  const com::Variant object = com::ConvertedTo(VT_DISPATCH, At(index));
  if (V_DISPATCH(&object.get()) == nullptr) {
    throw Error(error_number::kTypeMismatch);
  }
  return com::ComPtr<IDispatch>(V_DISPATCH(&object.get()));
}

}  // namespace quillmark::vantrel
