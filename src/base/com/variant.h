// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "base/com/com_ptr.h"
#include "base/com/text.h"

namespace quillmark::com {

/// An owned VARIANT.
class Variant {
 public:
  Variant() { VariantInit(&value_); }
  Variant(const Variant&) = delete;
  Variant(Variant&& other) noexcept : value_(other.Detach()) {}
  Variant& operator=(const Variant&) = delete;
  Variant& operator=(Variant&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Variant() { VariantClear(&value_); }

  [[nodiscard]] static Variant OfLong(std::int32_t value) {
    Variant variant;
    V_VT(&variant.value_) = VT_I4;
    V_I4(&variant.value_) = value;
    return variant;
  }
  [[nodiscard]] static Variant OfByte(std::uint8_t value) {
    Variant variant;
    V_VT(&variant.value_) = VT_UI1;
    V_UI1(&variant.value_) = value;
    return variant;
  }
  [[nodiscard]] static Variant OfBoolean(bool value) {
    Variant variant;
    V_VT(&variant.value_) = VT_BOOL;
    V_BOOL(&variant.value_) = value ? VARIANT_TRUE : VARIANT_FALSE;
    return variant;
  }
  [[nodiscard]] static Variant OfText(Bstr text) {
    Variant variant;
    V_VT(&variant.value_) = VT_BSTR;
    V_BSTR(&variant.value_) = text.Detach();
    return variant;
  }
  /// A null object is Nothing.
  [[nodiscard]] static Variant OfObject(ComPtr<IDispatch> object) {
    Variant variant;
    V_VT(&variant.value_) = VT_DISPATCH;
    V_DISPATCH(&variant.value_) = object.Detach();
    return variant;
  }

  [[nodiscard]] const VARIANT& get() const { return value_; }
  [[nodiscard]] VARTYPE type() const { return V_VT(&value_); }

  /// Storage for a function that returns a value; the previous one is cleared.
  [[nodiscard]] VARIANT* Put() {
    VariantClear(&value_);
    return &value_;
  }
  /// The value, to be changed in place.
  [[nodiscard]] VARIANT* InOut() { return &value_; }
  /// Passes the value to the caller.
  [[nodiscard]] VARIANT Detach() {
    const VARIANT value = value_;
    VariantInit(&value_);
    return value;
  }

 private:
  VARIANT value_;
};

/// The variable that `value` represents: itself, or what it refers to through other variables.
/// Raises 13 for a reference to nothing and for one that leads back to itself.
[[nodiscard]] VARIANT& Follow(VARIANT& value);

/// A copy of that variable's value. Raises 13 as `Follow` does.
[[nodiscard]] Variant ValueOf(VARIANT& value);

/// `value` converted as Automation does it, following references. Raises 6 for a value out of range
/// and 13 for the wrong type.
[[nodiscard]] Variant ConvertedTo(VARTYPE type, const VARIANT& value);

}  // namespace quillmark::com
