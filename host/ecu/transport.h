// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <vector>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A reply message and when it is ready.
struct TimedMessage {
  Duration due{};
  Bytes message;

  friend bool operator==(const TimedMessage&, const TimedMessage&) = default;
};

/// The diagnostic services behind a transport, in whole messages.
class MessageHandler {
 public:
  MessageHandler() = default;
  MessageHandler(const MessageHandler&) = delete;
  MessageHandler& operator=(const MessageHandler&) = delete;
  MessageHandler(MessageHandler&&) = delete;
  MessageHandler& operator=(MessageHandler&&) = delete;
  virtual ~MessageHandler() = default;

  /// The replies to a request, in the order of their times; none if the ECU stays silent.
  virtual std::vector<TimedMessage> OnRequest(ByteView request, Duration now) = 0;

  /// Whether a session is open.
  [[nodiscard]] virtual bool InSession(Duration now) const = 0;
};

/// The ECU's side of a transport: joins frames to requests and splits replies into frames.
class EcuTransport {
 public:
  EcuTransport() = default;
  EcuTransport(const EcuTransport&) = delete;
  EcuTransport& operator=(const EcuTransport&) = delete;
  EcuTransport(EcuTransport&&) = delete;
  EcuTransport& operator=(EcuTransport&&) = delete;
  virtual ~EcuTransport() = default;

  virtual void OnFrame(ByteView frame, Duration now) = 0;
  virtual void OnBreak(Duration /*low*/, Duration /*now*/) {}
  /// When the next frame is ready to be sent; nothing if there is none.
  [[nodiscard]] virtual std::optional<Duration> NextDue() const = 0;
  /// That frame. Called only when there is one.
  virtual Bytes TakeFrame(Duration now) = 0;
};

}  // namespace quillmark::host
