// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/bus/bytes.h"

namespace quillmark::host {

enum class MessageKind : std::uint8_t {
  kRequest,
  kPositive,  ///< a positive response
  kNegative,  ///< a negative response
  kPending,   ///< the negative response "response pending"
};

/// The addresses in a message.
struct AddressedBytes {
  std::uint32_t address = 0;
  std::uint32_t count = 0;

  friend bool operator==(const AddressedBytes&, const AddressedBytes&) = default;
};

/// A message in words.
struct Description {
  MessageKind kind = MessageKind::kRequest;
  /// The service, or the one that is answered: 0x34, also for 0x74 and for 7F 34.
  std::uint8_t service = 0;
  /// "request download"; "service 99" if it is unknown.
  std::string name{};
  /// "memory 00, 0x008000 to 0x00807F, 128 bytes"; empty if there is nothing to say.
  std::string parameters{};
  /// Of a download or an upload of memory.
  std::optional<AddressedBytes> memory{};
  /// Where the data of such a message begins; 0 if it carries none.
  std::size_t data_at = 0;
};

/// Explains the service bytes of a message. What is cut off is left out; an empty message has no
/// name.
[[nodiscard]] Description Describe(ByteView message);

/// Where a request puts its data; nothing if it is not a download into memory.
[[nodiscard]] std::optional<AddressedBytes> DownloadIn(ByteView request);

/// "request download, positive: accepted".
[[nodiscard]] std::string TextOf(const Description& description);

}  // namespace quillmark::host
