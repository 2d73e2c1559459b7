// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>

namespace quillmark::host {

/// Negative response codes of the simulated ECU.
enum class ResponseCode : std::uint8_t {
  kServiceNotSupported = 0x11,
  kSubFunctionNotSupported = 0x12,
  kIncorrectMessageLength = 0x13,
  kBusyRepeatRequest = 0x21,
  kConditionsNotCorrect = 0x22,
  kRequestOutOfRange = 0x31,
  kSecurityAccessDenied = 0x33,
  kInvalidKey = 0x35,
  kExceededNumberOfAttempts = 0x36,
  kRequiredTimeDelayNotExpired = 0x37,
  kProgrammingFailure = 0x72,
  kBlockChecksumError = 0x77,
  kResponsePending = 0x78,
  kServiceNotSupportedInSession = 0x80,
};

/// Raised by a service that refuses its request.
class Refusal : public std::exception {
 public:
  explicit Refusal(ResponseCode code) : code_(code) {}

  [[nodiscard]] ResponseCode code() const noexcept { return code_; }

 private:
  ResponseCode code_;
};

}  // namespace quillmark::host
