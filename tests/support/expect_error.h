// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <optional>
#include <string>

#include "quillmark/error.h"

namespace quillmark::testing {

/// The default description of a number that has no text of its own.
inline constexpr auto kNoText = "Application-defined or object-defined error";
/// The description of 91.
inline constexpr auto kNotSet = "Object variable or With block variable not set";

/// What a call raised, as one value that a test can compare and gtest can print.
struct Raised {
  std::int32_t number;
  std::string description;

  friend bool operator==(const Raised&, const Raised&) = default;
  friend void PrintTo(const Raised& raised, std::ostream* out) {
    *out << "error " << raised.number << " \"" << raised.description << '"';
  }
};

/// Nothing if `call` raised nothing. Any other exception passes through and fails the test.
template <typename Call>
std::optional<Raised> RaisedBy(Call&& call) {
  try {
    call();
  } catch (const Error& error) {
    return Raised{error.Number(), error.Description()};
  }
  return std::nullopt;
}

}  // namespace quillmark::testing

/// Expects `expression` to raise Error(number, description).
#define EXPECT_ERROR(expression, number, description)                               \
  EXPECT_EQ(::quillmark::testing::RaisedBy([&] { static_cast<void>(expression); }), \
            (::std::optional<::quillmark::testing::Raised>({number, description})))
