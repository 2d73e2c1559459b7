// SPDX-License-Identifier: MIT
#include "host/bus/k_line_receiver.h"

#include <optional>
#include <utility>

namespace quillmark::host {
namespace {

constexpr std::uint8_t kWithAddresses = 0x80;
constexpr std::uint8_t kLengthMask = 0x3F;
constexpr std::size_t kAddressedHeader = 3;
constexpr std::size_t kChecksum = 1;

bool BeginsMessage(std::uint8_t format) { return (format & kWithAddresses) != 0; }

/// Nothing if the length byte is still missing.
std::optional<std::size_t> LengthOf(ByteView begun) {
  const std::size_t in_format = begun[0] & kLengthMask;
  if (in_format != 0) {
    return kAddressedHeader + in_format + kChecksum;
  }
  if (begun.size() <= kAddressedHeader) {
    return std::nullopt;
  }
  return kAddressedHeader + 1 + begun[kAddressedHeader] + kChecksum;
}

}  // namespace

std::vector<Bytes> KLineReceiver::Take(ByteView bytes) {
  std::vector<Bytes> messages;
  for (const std::uint8_t byte : bytes) {
    if (begun_.empty() && !BeginsMessage(byte)) {
      continue;
    }
    begun_.push_back(byte);
    if (begun_.size() == LengthOf(begun_)) {
      messages.push_back(std::exchange(begun_, {}));
    }
  }
  return messages;
}

Bytes KLineReceiver::OnSilence() { return std::exchange(begun_, {}); }

}  // namespace quillmark::host
