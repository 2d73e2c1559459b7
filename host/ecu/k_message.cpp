// SPDX-License-Identifier: MIT
#include "host/ecu/k_message.h"

#include <numeric>

namespace quillmark::host {
namespace {

constexpr std::uint8_t kPhysicalAddressing = 0x80;
constexpr std::uint8_t kAddressingMask = 0xC0;
constexpr std::uint8_t kLengthMask = 0x3F;
constexpr std::size_t kLongestInFormatByte = 62;

std::uint8_t ChecksumOf(ByteView bytes) {
  return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U) & 0xFFU);
}

}  // namespace

Bytes EncodeKMessage(const KMessage& message) {
  const auto length = static_cast<std::uint8_t>(message.data.size());
  const bool in_format_byte = message.data.size() <= kLongestInFormatByte;
  Bytes bytes{static_cast<std::uint8_t>(kPhysicalAddressing | (in_format_byte ? length : 0)),
              message.target, message.source};
  if (!in_format_byte) {
    bytes.push_back(length);
  }
  bytes.insert(bytes.end(), message.data.begin(), message.data.end());
  bytes.push_back(ChecksumOf(bytes));
  return bytes;
}

std::optional<KMessage> DecodeKMessage(ByteView bytes) {
  constexpr std::size_t kShortest = 5;
  if (bytes.size() < kShortest || (bytes[0] & kAddressingMask) != kPhysicalAddressing) {
    return std::nullopt;
  }
  const std::size_t short_length = bytes[0] & kLengthMask;
  const std::size_t header = short_length != 0 ? 3 : 4;
  const std::size_t length = short_length != 0 ? short_length : bytes[3];
  if (length == 0 || bytes.size() != header + length + 1 ||
      ChecksumOf(bytes.first(bytes.size() - 1)) != bytes.back()) {
    return std::nullopt;
  }
  const ByteView data = bytes.subspan(header, length);
  return KMessage{bytes[1], bytes[2], Bytes(data.begin(), data.end())};
}

}  // namespace quillmark::host
