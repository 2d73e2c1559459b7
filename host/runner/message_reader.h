// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// The first byte of the frame by which a piece of a gateway's message is acknowledged.
inline constexpr std::uint8_t kGatewayAcknowledgement = 0x81;

/// The service bytes of a message as far as its first frame holds them; empty if `frame` does not
/// begin a message. Checksums are not looked at.
[[nodiscard]] Bytes ServiceBytesOf(TransportForm form, ByteView frame);

/// The response code if `frame` is a negative response.
[[nodiscard]] std::optional<std::uint8_t> NegativeResponseCodeOf(TransportForm form,
                                                                 ByteView frame);

/// Where the service bytes of a message on a K line stand, and how long the whole message is.
struct KMessageLayout {
  std::size_t data_at = 0;
  std::size_t data_size = 0;
  std::size_t size = 0;
};

/// The layout of a message by its header; nothing where the header is not there or announces no
/// data.
[[nodiscard]] std::optional<KMessageLayout> LayoutOfKMessage(ByteView message);

/// Separates the requests of a document from the tester's flow controls and acknowledgements, and
/// joins the frames of each.
class RequestReader {
 public:
  explicit RequestReader(TransportForm form) : form_(form) {}

  /// Whether `frame`, sent next, begins a request.
  [[nodiscard]] bool BeginsRequest(ByteView frame) const;
  void OnSent(ByteView frame);

  /// The service bytes of the last request, as far as it was sent.
  [[nodiscard]] Bytes Request() const;
  /// The first of them, the service identifier; nothing before the first request.
  [[nodiscard]] std::optional<std::uint8_t> Service() const;
  /// The last request as it was sent: its service bytes in plain CAN form, else the K message.
  [[nodiscard]] const Bytes& Message() const { return message_; }
  /// Whether frames of the last request are still to be sent.
  [[nodiscard]] bool Unfinished() const { return missing_ > 0; }

 private:
  void OnCanFrame(ByteView frame);
  void OnGatewayPiece(ByteView frame);

  TransportForm form_;
  /// Plain CAN: service bytes; else the K message without a piece count.
  Bytes message_;
  /// Plain CAN: bytes of the message; gateway: pieces.
  std::size_t missing_ = 0;
};

}  // namespace quillmark::host
