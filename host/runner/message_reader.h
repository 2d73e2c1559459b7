// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "host/bus/bus.h"

namespace quillmark::host {

/// The service bytes of a message that `frame` carries as a whole; empty if it carries none.
/// Checksums are not checked.
[[nodiscard]] Bytes ServiceBytesOf(TransportForm form, ByteView frame);

/// The response code, if `frame` is a negative response.
[[nodiscard]] std::optional<std::uint8_t> NegativeResponseCodeOf(TransportForm form,
                                                                 ByteView frame);

/// Tells the requests of a document apart from the flow control and the acknowledgements of the
/// tester, and joins the frames of each.
class RequestReader {
 public:
  explicit RequestReader(TransportForm form) : form_(form) {}

  /// Whether `frame`, sent next, begins a request.
  [[nodiscard]] bool BeginsRequest(ByteView frame) const;
  void OnSent(ByteView frame);

  /// The service bytes of the last request, as far as it was sent.
  [[nodiscard]] Bytes Request() const;

 private:
  void OnCanFrame(ByteView frame);
  void OnGatewayPiece(ByteView frame);

  TransportForm form_;
  /// Plain CAN: service bytes; otherwise the K message without a piece count.
  Bytes message_;
  /// Plain CAN: bytes of the message; gateway: pieces.
  std::size_t missing_ = 0;
};

}  // namespace quillmark::host
