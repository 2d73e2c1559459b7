// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "quillmark/export.h"

namespace quillmark {

/// The numbers of all errors that the component and its platforms raise. docs/errors.md has their
/// texts and causes.
namespace error_number {
// Wrong use, and the machine.
inline constexpr std::int32_t kOverflow = 6;              ///< a number left its type's range
inline constexpr std::int32_t kOutOfMemory = 7;           ///< an allocation failed
inline constexpr std::int32_t kSubscriptOutOfRange = 9;   ///< a position outside a byte string
inline constexpr std::int32_t kArrayIsFixed = 10;         ///< on Windows: an array of the host
inline constexpr std::int32_t kDivisionByZero = 11;       ///< an alignment of 0 bytes for fill
inline constexpr std::int32_t kTypeMismatch = 13;         ///< a text or an object of the wrong kind
inline constexpr std::int32_t kObjectNotSet = 91;         ///< an object is missing
inline constexpr std::int32_t kCannotCreateObject = 429;  ///< on Windows: a class is not registered
inline constexpr std::int32_t kUnknownMember = 438;       ///< a member that an object lacks
inline constexpr std::int32_t kInvalidRequest = 1000;  ///< a message or a block of a wrong length

// Replies of the ECU.
inline constexpr std::int32_t kNoReply = 2000;       ///< none, or one that ends too early
inline constexpr std::int32_t kIllegalReply = 2003;  ///< a damaged message, or another answer

// Negative responses to the security access, in the order of the numbers (D21).
inline constexpr std::int32_t kServiceNotSupported = 2032;      ///< code 11
inline constexpr std::int32_t kConditionsNotCorrect = 2033;     ///< code 22
inline constexpr std::int32_t kSubFunctionNotSupported = 2034;  ///< code 12
inline constexpr std::int32_t kBusyRepeatRequest = 2035;        ///< code 21
inline constexpr std::int32_t kSecurityAccessDenied = 2036;     ///< code 33
inline constexpr std::int32_t kInvalidKey = 2037;               ///< code 35
inline constexpr std::int32_t kReservedResponseCode = 2038;     ///< code 87
inline constexpr std::int32_t kOtherResponseCode = 2040;        ///< any other code
inline constexpr std::int32_t kIllegalNegativeReply = 2041;     ///< a response without a code
inline constexpr std::int32_t kNotSupportedInSession = 2042;    ///< code 80
inline constexpr std::int32_t kRoutineNotComplete = 2043;       ///< code 23
inline constexpr std::int32_t kGeneralReject = 2044;            ///< code 10

// What a check method found.
inline constexpr std::int32_t kNotReprogrammable = 4000;  ///< `gethisto`
inline constexpr std::int32_t kSeedRefused = 4001;        ///< `getseed` on a K line
inline constexpr std::int32_t kEraseNotStarted = 4003;    ///< `checkstarterase`
inline constexpr std::int32_t kEraseFailed = 4004;        ///< `checkcheckerase`
inline constexpr std::int32_t kDownloadFailed = 4005;     ///< `checkdownload`
inline constexpr std::int32_t kRoutineFailed = 4006;      ///< `checkstartroutine`, `checkroutine`
inline constexpr std::int32_t kUploadFailed = 4007;       ///< `checkupload`
inline constexpr std::int32_t kLogZoneNotWritten = 4008;  ///< `checkwritelogzone`
inline constexpr std::int32_t kSeparationTimeNegative = 4009;  ///< `FlowControl`, as the next three
inline constexpr std::int32_t kSeparationTimeTooLarge = 4010;  ///< over 255 ms
inline constexpr std::int32_t kBlockSizeNegative = 4011;       ///< below 0
inline constexpr std::int32_t kBlockSizeTooLarge = 4012;       ///< over 255

inline constexpr std::int32_t kBadPattern = -2147467259;  ///< a path that cannot be evaluated
}  // namespace error_number

/// The one exception type of the library: a number and a description, with no source and no help
/// reference. docs/errors.md lists every number and text.
///
/// The number is a full signed 32-bit value, so codes of a host's library or of a platform pass
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

/// The negative response code that the ECU answered with (ISO 14230-3), such as 0x35 for an invalid
/// key; nothing if the error was not caused by a negative response whose bytes it tells. A host
/// that must tell the codes of a download, an upload or the log zone apart takes them from the
/// frames that it received.
[[nodiscard]] QUILLMARK_API std::optional<std::uint8_t> NegativeResponseCode(const Error& error);

}  // namespace quillmark
