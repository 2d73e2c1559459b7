// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "context/reply.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

constexpr std::uint8_t kNegativeResponse = 0x7F;
constexpr std::size_t kResponseLength = 3;

struct ResponseCode {
  std::uint8_t code;
  std::int32_t number;
};

/// D21.
constexpr std::array<ResponseCode, 10> kResponseCodes = {{
    {0x10, error_number::kGeneralReject},
    {0x11, error_number::kServiceNotSupported},
    {0x12, error_number::kSubFunctionNotSupported},
    {0x21, error_number::kBusyRepeatRequest},
    {0x22, error_number::kConditionsNotCorrect},
    {0x23, error_number::kRoutineNotComplete},
    {0x33, error_number::kSecurityAccessDenied},
    {0x35, error_number::kInvalidKey},
    {0x80, error_number::kNotSupportedInSession},
    {0x87, error_number::kReservedResponseCode},
}};

std::int32_t NumberOfResponseCode(std::uint8_t code) {
  const auto* const entry =
      std::find_if(kResponseCodes.begin(), kResponseCodes.end(),
                   [&](const ResponseCode& candidate) { return candidate.code == code; });
  return entry == kResponseCodes.end() ? error_number::kOtherResponseCode : entry->number;
}

/// The code that ends a text of `CheckNegativeReply`.
std::optional<std::uint8_t> CodeOfText(std::string_view text) {
  std::uint8_t code = 0;
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), code, 16);
  return result.ec == std::errc{} && result.ptr == text.data() + text.size() ? std::optional(code)
                                                                             : std::nullopt;
}

std::optional<std::uint8_t> CodeOfReply(std::string_view hex) {
  Bytes reply;
  const bool is_response = AppendBytesOfHex(reply, hex) && reply.size() >= kResponseLength &&
                           reply[0] == kNegativeResponse;
  return is_response ? std::optional(reply[2]) : std::nullopt;
}

}  // namespace

void CheckNegativeReply(ByteView reply) {
  if (reply.empty()) {
    throw Error(error_number::kNoReply, "No reply");
  }
  if (reply[0] != kNegativeResponse) {
    return;
  }
  if (reply.size() < kResponseLength) {
    throw Error(error_number::kIllegalNegativeReply, "Illegal Negative Reply : " + HexOf(reply));
  }
  throw Error(NumberOfResponseCode(reply[2]),
              "Requested Service : " + ShortHexOf(reply[1]) +
                  " Negative response code : " + ShortHexOf(reply[2]));
}

std::optional<std::uint8_t> NegativeResponseCode(const Error& error) {
  const std::string_view text = error.Description();
  const std::string_view last_word = text.substr(text.rfind(' ') + 1);
  switch (error.Number()) {
    case error_number::kSeedRefused:
    case error_number::kEraseNotStarted:
    case error_number::kEraseFailed:
    case error_number::kRoutineFailed:
      return CodeOfReply(last_word);
    default:
      break;
  }
  const bool is_of_response = error.Number() >= error_number::kServiceNotSupported &&
                              error.Number() <= error_number::kGeneralReject &&
                              error.Number() != error_number::kIllegalNegativeReply;
  return is_of_response ? CodeOfText(last_word) : std::nullopt;
}

}  // namespace quillmark
