// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/decode/message_joiner.h"
#include "host/services/description.h"
#include "host/trace/trace.h"

namespace quillmark::host {

struct DecodedFrame {
  Duration at{};
  Direction direction = Direction::kToEcu;
  Bytes data{};
  JoinedFrame role{};
};

struct DecodedMessage {
  JoinedMessage message{};
  Description description{};
  /// Of its first and its last frame, including flow control and acknowledgements.
  Duration began{};
  Duration ended{};
  std::size_t frames = 0;
};

/// A trace with its frames joined.
struct Decoding {
  Exchange exchange{};
  std::vector<DecodedFrame> frames{};
  std::vector<DecodedMessage> messages{};
  std::vector<TraceEntry> breaks{};
};

[[nodiscard]] Decoding Decode(const Trace& trace);

/// What a message says, with its defect, if any.
[[nodiscard]] std::string TextOf(const DecodedMessage& message);

}  // namespace quillmark::host
