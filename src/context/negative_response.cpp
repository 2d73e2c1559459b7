// SPDX-License-Identifier: MIT
#include "context/negative_response.h"

#include <cstdint>

#include "context/message_table.h"
#include "quillmark/error.h"

namespace quillmark {
namespace {

constexpr std::uint8_t kNegativeResponse = 0x7F;

/// D21.
std::int32_t NumberOfResponseCode(std::uint8_t code) {
  switch (code) {
    case 0x10:
      return 2044;
    case 0x11:
      return 2032;
    case 0x12:
      return 2034;
    case 0x21:
      return 2035;
    case 0x22:
      return 2033;
    case 0x23:
      return 2043;
    case 0x33:
      return 2036;
    case 0x35:
      return 2037;
    case 0x80:
      return 2042;
    case 0x87:
      return 2038;
    default:
      return 2040;
  }
}

}  // namespace

void CheckNegativeReply(ByteView reply) {
  if (reply.empty()) {
    throw Error(error_number::kNoReply, "No reply");
  }
  if (reply[0] != kNegativeResponse) {
    return;
  }
  if (reply.size() < 3) {
    throw Error(error_number::kIllegalNegativeReply, "Illegal Negative Reply : " + HexOf(reply));
  }
  throw Error(NumberOfResponseCode(reply[2]),
              "Requested Service : " + ShortHexOf(reply[1]) +
                  " Negative response code : " + ShortHexOf(reply[2]));
}

}  // namespace quillmark
