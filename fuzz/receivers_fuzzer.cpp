// SPDX-License-Identifier: MIT
// Receivers of a serial line: whatever the bytes and however they are cut into pieces, the slcan
// and the K line receiver return the same well-formed frames, and after a line end or a silence the
// next frame is received.
//
// The first byte of the input, '0' to '?', chooses how long the cuts are.
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/support/law.h"
#include "host/bus/k_line_receiver.h"
#include "host/bus/slcan_codec.h"

namespace quillmark::fuzz {
namespace {

using host::Bytes;
using host::ByteView;
using host::CanFrame;
using host::SlcanEvent;

Bytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

/// All that a receiver gives for `bytes` in pieces of `size`.
template <typename Receiver>
auto TakeInPieces(Receiver& receiver, ByteView bytes, std::size_t size) {
  auto all = receiver.Take({});
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    const auto some = receiver.Take(bytes.subspan(at, std::min(size, bytes.size() - at)));
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

void RequireFrame(const CanFrame& frame) {
  host::SlcanReceiver receiver;
  const auto events = receiver.Take(BytesOf(host::SlcanLineOf(frame) + host::kSlcanEndOfLine));
  Law(events == std::vector{SlcanEvent{SlcanEvent::Kind::kFrame, frame, {}}},
      "a frame is received as it was written");
}

void RunSlcan(ByteView bytes, std::size_t size) {
  host::SlcanReceiver whole;
  host::SlcanReceiver cut;
  const std::vector<SlcanEvent> events = whole.Take(bytes);
  Law(TakeInPieces(cut, bytes, size) == events, "slcan does not depend on how bytes are cut");
  for (const SlcanEvent& event : events) {
    if (event.kind == SlcanEvent::Kind::kFrame) {
      RequireFrame(event.frame);
    }
  }
  const auto last = cut.Take(BytesOf("\rt632227\r"));
  Law(!last.empty(), "after a line end the next line is received");
  const auto frame = cut.Take(BytesOf("t63222781\r"));
  Law(frame.size() == 1 && frame[0].kind == SlcanEvent::Kind::kFrame &&
          frame[0].frame.data == Bytes{0x27, 0x81},
      "after a line end the next frame is received");
}

void RequireMessage(const Bytes& message) {
  Law(message.size() >= 5 && (message[0] & 0x80U) != 0, "a K line message begins with a header");
  const std::size_t in_format = message[0] & 0x3FU;
  Law(message.size() == (in_format != 0 ? in_format + 4 : message[3] + std::size_t{5}),
      "a K line message is as long as its header says");
}

void RunKLine(ByteView bytes, std::size_t size) {
  host::KLineReceiver whole;
  host::KLineReceiver cut;
  const std::vector<Bytes> messages = whole.Take(bytes);
  Law(TakeInPieces(cut, bytes, size) == messages, "a K line does not depend on how bytes are cut");
  std::for_each(messages.begin(), messages.end(), RequireMessage);
  Law(cut.InMessage() == !cut.OnSilence().empty(), "what was begun is given back on silence");
  Law(!cut.InMessage(), "a silence ends what was begun");
  const Bytes next{0x81, 0x11, 0xF1, 0x3E, 0xC1};
  Law(cut.Take(next) == std::vector<Bytes>{next}, "after a silence the next message is received");
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 0) {
    const std::size_t cut = 1 + (data[0] & 0x0FU);
    quillmark::fuzz::RunSlcan({data + 1, size - 1}, cut);
    quillmark::fuzz::RunKLine({data + 1, size - 1}, cut);
  }
  return 0;
}
