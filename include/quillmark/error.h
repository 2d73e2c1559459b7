// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "quillmark/export.h"

namespace quillmark {

/// Numbers of the run-time errors that the component and its reference host types raise.
namespace error_number {
inline constexpr std::int32_t kOverflow = 6;             ///< a number left its type's range
inline constexpr std::int32_t kOutOfMemory = 7;          ///< memory could not be had
inline constexpr std::int32_t kSubscriptOutOfRange = 9;  ///< a position outside of a byte string
inline constexpr std::int32_t kDivisionByZero = 11;  ///< fill was looked for in units of 0 bytes
inline constexpr std::int32_t kTypeMismatch = 13;    ///< a text or an object of the wrong kind
inline constexpr std::int32_t kObjectNotSet = 91;    ///< an object is missing
}  // namespace error_number

/// The one exception type of the library: a number and a description, with no source and no help
/// reference. docs/errors.md lists every number and text.
///
/// The number is a full signed 32-bit value, so that codes of a host library or of a platform pass
/// through unchanged. An Error never crosses a thread: a worker's error ends its run with an empty
/// `Node` instead.
class QUILLMARK_API Error : public std::exception {
 public:
  /// An error with the default description of its number (see `DefaultDescription`).
  explicit Error(std::int32_t number);
  /// An error with a description of its own, which may be empty.
  Error(std::int32_t number, std::string description);

  /// The number, by which a program tells errors apart.
  [[nodiscard]] std::int32_t Number() const noexcept { return number_; }
  /// The description, for people; good as long as the error.
  [[nodiscard]] const std::string& Description() const noexcept { return description_; }

  /// The same, for logs.
  [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

  /// The text of a run-time error, such as "Overflow" for 6; for every number without a text of its
  /// own "Application-defined or object-defined error".
  static std::string DefaultDescription(std::int32_t number);

 private:
  std::int32_t number_;
  std::string description_;
};

}  // namespace quillmark
