// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>
#include <utility>

#include "quillmark/error.h"

/// Checked arithmetic: every length, address and counter is computed with it. A result that leaves
/// its type raises 6 "Overflow".
namespace quillmark::checked {

/// `value` as a `To`, a Byte or a Long.
template <typename To, typename From>
[[nodiscard]] constexpr To Convert(From value) {
  if (!std::in_range<To>(value)) {
    throw Error(error_number::kOverflow);
  }
  return static_cast<To>(value);
}

[[nodiscard]] constexpr std::uint8_t ToByte(std::int32_t value) {
  return Convert<std::uint8_t>(value);
}

[[nodiscard]] constexpr std::int32_t Add(std::int32_t a, std::int32_t b) {
  return Convert<std::int32_t>(std::int64_t{a} + b);
}

[[nodiscard]] constexpr std::int32_t Subtract(std::int32_t a, std::int32_t b) {
  return Convert<std::int32_t>(std::int64_t{a} - b);
}

/// Remainder with the sign of `dividend`. Raises 11 for the divisor 0. The smallest Long is a valid
/// divisor.
[[nodiscard]] constexpr std::int32_t Modulo(std::int32_t dividend, std::int32_t divisor) {
  if (divisor == 0) {
    throw Error(error_number::kDivisionByZero);
  }
  return static_cast<std::int32_t>(std::int64_t{dividend} % divisor);
}

}  // namespace quillmark::checked
