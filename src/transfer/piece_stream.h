// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "context/context.h"
#include "context/request.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark::transfer {

/// The three address bytes of a transfer request, high byte first. D9.
[[nodiscard]] constexpr std::array<std::uint8_t, 3> AddressBytes(std::int32_t address) {
  return {static_cast<std::uint8_t>((address / 65536) & 0xFF),
          static_cast<std::uint8_t>((address / 256) & 0xFF),
          static_cast<std::uint8_t>(address & 0xFF)};
}

/// The documents of one run on their way to the client. D28.
class PieceStream {
 public:
  PieceStream(Context& context, XMLDocClient& client)
      : context_(context), client_(client), document_(std::in_place, context) {}

  /// Counts bytes that the transfer covers without a request for them.
  void Skip(std::int32_t count);

  /// Adds a request that transfers `count` bytes. False if the client wants no more: the run then
  /// ends at once.
  [[nodiscard]] bool Add(ByteView request, ByteView expected, std::int32_t reply_length,
                         std::int32_t count);

  /// Delivers the last document and, unless the client cancels it, the empty node that marks the
  /// end.
  void Finish();

 private:
  [[nodiscard]] bool Deliver();

  Context& context_;
  XMLDocClient& client_;
  std::optional<Request> document_;
  std::int32_t covered_ = 0;  ///< bytes transferred and skipped in this document: its `totalbytes`
  std::int32_t transferred_ = 0;  ///< bytes transferred in this document
};

}  // namespace quillmark::transfer
