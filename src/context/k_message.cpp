// SPDX-License-Identifier: MIT
#include "context/k_message.h"

#include <algorithm>
#include <numeric>
#include <string>

#include "base/byte_access.h"
#include "context/message_table.h"
#include "quillmark/error.h"

namespace quillmark::k_message {
namespace {

constexpr std::uint8_t kFormat = 0x80;
constexpr std::uint8_t kFormatLengthMask = 0x3F;

/// From this length on, the length has its own byte: D7.
constexpr std::size_t kFirstSeparateLength = 63;

constexpr std::size_t kShortHeaderSize = 3;
constexpr std::size_t kLongHeaderSize = 4;
constexpr std::size_t kChecksumSize = 1;
constexpr std::size_t kMaxLength = 255;

std::size_t HeaderSize(std::size_t length) {
  return length < kFirstSeparateLength ? kShortHeaderSize : kLongHeaderSize;
}

std::uint8_t Checksum(ByteView bytes) {
  return std::accumulate(
      bytes.begin(), bytes.end(), std::uint8_t{0},
      [](std::uint8_t sum, std::uint8_t byte) { return static_cast<std::uint8_t>(sum + byte); });
}

[[noreturn]] void RaiseChecksumError(ByteView message) {
  throw Error(error_number::kIllegalReply, "Checksum error " + HexOf(message));
}

/// Where the data of a received message is.
struct Layout {
  std::size_t header_size;
  std::size_t length;

  [[nodiscard]] std::size_t ChecksumPosition() const { return header_size + length + 1; }
};

Layout LayoutOf(ByteView message) {
  const std::size_t length_in_format = ByteAt(message, 1) & kFormatLengthMask;
  if (length_in_format != 0) {
    return {kShortHeaderSize, length_in_format};
  }
  return {kLongHeaderSize, ByteAt(message, kLongHeaderSize)};
}

}  // namespace

void RequireRequestLength(std::size_t length) {
  if (length < 1 || length > kMaxLength) {
    throw Error(error_number::kInvalidRequest,
                "Invalid request length (" + std::to_string(length) + ")");
  }
}

std::size_t RequireReplyLength(std::int32_t length) {
  if (length < 1 || length > static_cast<std::int32_t>(kMaxLength)) {
    throw Error(error_number::kInvalidRequest,
                "Invalid reply length (" + std::to_string(length) + ")");
  }
  return static_cast<std::size_t>(length);
}

std::size_t SizeOf(std::size_t length) { return HeaderSize(length) + length + kChecksumSize; }

// Only what is written is read; zeros first would take as long as the rest.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
Message::Message(Addresses addresses, ByteView data, std::size_t length) {
  const auto length_byte = static_cast<std::uint8_t>(length);
  const bool is_short = length < kFirstSeparateLength;
  const auto format = static_cast<std::uint8_t>(is_short ? kFormat + length_byte : kFormat);
  const std::array<std::uint8_t, kLongHeaderSize> header = {format, addresses.target,
                                                            addresses.source, length_byte};
  auto* end = std::copy_n(header.begin(), HeaderSize(length), bytes_.begin());
  end = std::copy(data.begin(), data.end(), end);
  if (data.size() == length) {
    *end = Checksum({bytes_.begin(), end});
    ++end;
  }
  size_ = static_cast<std::size_t>(end - bytes_.begin());
}

Bytes Read(ByteView message) {
  if (message.size() < kLongHeaderSize) {
    RaiseChecksumError(message);
  }
  const Layout layout = LayoutOf(message);
  const std::size_t checksum_position = layout.ChecksumPosition();
  if (checksum_position > message.size() ||
      Checksum(message.first(checksum_position - 1)) != ByteAt(message, checksum_position)) {
    RaiseChecksumError(message);
  }
  return BytesAt(message, layout.header_size + 1, layout.length);
}

void AddKFrames(StepWriter& steps, const Addressing& addressing, ByteView request) {
  RequireRequestLength(request.size());
  const Message message(ToEcu(addressing), request, request.size());
  steps.Send(message.View());
}

void AddKReply(StepWriter& steps, const Addressing& addressing, ByteView expected,
               std::int32_t reply_length) {
  const std::size_t length = RequireReplyLength(reply_length);
  const Message message(ToTester(addressing), expected, length);
  steps.Receive(message.View());
  steps.WaitSeparationTime();
}

}  // namespace quillmark::k_message
