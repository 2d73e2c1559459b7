// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/ecu/negative_response.h"
#include "host/ecu/transport.h"

namespace quillmark::host {

inline Bytes Hex(std::string_view text) { return BytesOfHex(text).value(); }

/// Bytes 01, 02, … of a length, behind a service identifier.
inline Bytes Counting(std::uint8_t first, std::size_t length) {
  Bytes bytes(length, first);
  for (std::size_t i = 1; i < length; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i);
  }
  return bytes;
}

/// Stands in for the application: records the requests and gives the prepared replies.
class RecordingHandler : public MessageHandler {
 public:
  std::vector<TimedMessage> OnRequest(ByteView request, Duration now) override {
    requests.push_back(HexOf(request));
    std::vector<TimedMessage> timed;
    for (const Bytes& reply : replies) {
      timed.push_back({now + std::chrono::milliseconds(2), reply});
    }
    return timed;
  }
  [[nodiscard]] bool InSession(Duration /*now*/) const override { return in_session; }

  std::vector<std::string> requests;
  std::vector<Bytes> replies;
  bool in_session = false;
};

/// Feeds a transport with frames in hex, one after the other in time, and collects what it sends.
class FrameBench {
 public:
  explicit FrameBench(EcuTransport& transport) : transport_(transport) {}

  /// All frames that the transport sends before the tester has to act again.
  std::vector<std::string> Send(std::string_view frame) {
    transport_.OnFrame(Hex(frame), now_);
    return Collect();
  }

  std::vector<std::string> Collect() {
    std::vector<std::string> frames;
    while (const std::optional<Duration> due = transport_.NextDue()) {
      now_ = std::max(now_, *due);
      frames.push_back(HexOf(transport_.TakeFrame(now_)));
    }
    return frames;
  }

  /// Without collecting.
  void Push(std::string_view frame) { transport_.OnFrame(Hex(frame), now_); }
  void Break(Duration low) {
    now_ += low;
    transport_.OnBreak(low, now_);
  }
  void Wait(Duration time) { now_ += time; }
  [[nodiscard]] Duration now() const { return now_; }

 private:
  EcuTransport& transport_;
  Duration now_{};
};

/// The positive reply of a call in hex, or "refused " and the code.
template <typename Call>
std::string ReplyOf(Call&& call) {
  try {
    return HexOf(call());
  } catch (const Refusal& refusal) {
    return "refused " + HexOf(Bytes{static_cast<std::uint8_t>(refusal.code())});
  }
}

}  // namespace quillmark::host
