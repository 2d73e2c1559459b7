// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "base/com/com_ptr.h"
#include "base/com/text.h"

namespace quillmark::com {

/// Checks what a caller of `Invoke` must pass: E_INVALIDARG if arguments or their names are
/// missing, DISP_E_BADPARAMCOUNT if more are named than there are.
[[nodiscard]] HRESULT CheckParameters(const DISPPARAMS* parameters);

/// Checks what a caller of `GetIDsOfNames` must pass: E_INVALIDARG if something is missing.
[[nodiscard]] HRESULT CheckNames(const LPOLESTR* names, UINT count, const DISPID* ids);

/// The arguments of one call, counted from 0 on the left; the new value of a property is the last.
/// Values are converted as Automation does it: 6 for one out of range, 13 for the wrong type.
class Arguments {
 public:
  explicit Arguments(const DISPPARAMS& parameters) : parameters_(parameters) {}

  [[nodiscard]] std::size_t Count() const { return parameters_.cArgs; }
  [[nodiscard]] std::int32_t Long(std::size_t index) const;
  [[nodiscard]] std::uint8_t Byte(std::size_t index) const;
  [[nodiscard]] Bstr Text(std::size_t index) const;
  /// Raises 13 for Nothing and for anything that is not an object.
  [[nodiscard]] ComPtr<IDispatch> Object(std::size_t index) const;

 private:
  [[nodiscard]] VARIANT& At(std::size_t index) const {
    return parameters_.rgvarg[parameters_.cArgs - 1 - index];
  }

  const DISPPARAMS& parameters_;
};

}  // namespace quillmark::com
