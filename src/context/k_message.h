// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/hex.h"
#include "context/addressing.h"
#include "context/step_writer.h"

/// The message of ISO 14230-2 that K line form and gateway form share:
///
///     format | target | source | [length] | data … | checksum
///
/// The format byte is 0x80 plus the number of data bytes; from 63 on it is just 0x80, and a length
/// byte follows the source. The checksum is the 8-bit sum of everything before it.
namespace quillmark::k_message {

struct Addresses {
  std::uint8_t target;
  std::uint8_t source;
};

[[nodiscard]] inline Addresses ToEcu(const Addressing& addressing) {
  return {addressing.ecu_address, addressing.tester_address};
}

[[nodiscard]] inline Addresses ToTester(const Addressing& addressing) {
  return {addressing.tester_address, addressing.ecu_address};
}

/// Raises 1000 "Invalid request length (…)" outside 1..255.
void RequireRequestLength(std::size_t length);

/// The length as a size. Raises 1000 "Invalid reply length (…)" outside 1..255.
[[nodiscard]] std::size_t RequireReplyLength(std::int32_t length);

/// Number of bytes of a whole message with `length` data bytes.
[[nodiscard]] std::size_t SizeOf(std::size_t length);

/// The beginning of a message with `length` data bytes, as far as `data` reaches: complete, with
/// its checksum, if `data` has all of them. On the stack, since a download makes thousands.
class Message {
 public:
  static constexpr std::size_t kMaxSize = 4 + 255 + 1;

  Message(Addresses addresses, ByteView data, std::size_t length);

  [[nodiscard]] ByteView View() const { return ByteView(bytes_).first(size_); }

 private:
  std::array<std::uint8_t, kMaxSize> bytes_;
  std::size_t size_;
};

/// The data bytes of a received message. Bytes after the checksum are ignored, and the addresses
/// are not compared (D12). Raises 2003 "Checksum error …" if it is shorter than it says or its
/// checksum is wrong.
[[nodiscard]] Bytes Read(ByteView message);

/// K line form: a whole message is one step.
/// Raises 1000 for a request outside 1..255 bytes, before anything is written.
void AddKFrames(StepWriter& steps, const Addressing& addressing, ByteView request);

/// Raises 1000 for a reply length outside 1..255.
void AddKReply(StepWriter& steps, const Addressing& addressing, ByteView expected,
               std::int32_t reply_length);

}  // namespace quillmark::k_message
