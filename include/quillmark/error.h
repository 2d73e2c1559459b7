// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "quillmark/export.h"

namespace quillmark {

/// Numbers of the run-time errors that the component and the reference host types raise.
namespace error_number {
inline constexpr std::int32_t kOverflow = 6;             ///< a number left its type's range
inline constexpr std::int32_t kOutOfMemory = 7;          ///< an allocation failed
inline constexpr std::int32_t kSubscriptOutOfRange = 9;  ///< a position outside a byte string
inline constexpr std::int32_t kDivisionByZero = 11;      ///< an alignment of 0 bytes for fill
inline constexpr std::int32_t kTypeMismatch = 13;        ///< a text or an object of the wrong kind
inline constexpr std::int32_t kObjectNotSet = 91;        ///< an object is missing
}  // namespace error_number

/// The one exception type of the library: a number and a description, with no source and no help
/// reference. docs/errors.md lists every number and text.
///
/// The number is a full signed 32-bit value, so codes of a host library or of a platform pass
/// through unchanged. An Error never crosses threads: an error in a worker ends its sequence with
/// an empty `Node` instead.
class QUILLMARK_API Error : public std::exception {
 public:
  /// An error with the default description of its number (see `DefaultDescription`).
  explicit Error(std::int32_t number);
  /// An error with a description of its own, which may be empty.
  Error(std::int32_t number, std::string description);

  /// The number, by which a program tells errors apart.
  [[nodiscard]] std::int32_t Number() const noexcept { return number_; }
  /// The description, for people; valid as long as the error exists.
  [[nodiscard]] const std::string& Description() const noexcept { return description_; }

  /// The same, for logs.
  [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

  /// The text of a run-time error, such as "Overflow" for 6. Numbers without a text of their own
  /// have "Application-defined or object-defined error".
  static std::string DefaultDescription(std::int32_t number);

 private:
  std::int32_t number_;
  std::string description_;
};

}  // namespace quillmark
