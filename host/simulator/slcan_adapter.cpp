// SPDX-License-Identifier: MIT
#include "host/simulator/slcan_adapter.h"

#include <chrono>

namespace quillmark::host {
namespace {

const std::string kOk(1, kSlcanEndOfLine);
const std::string kError(1, kSlcanBell);

/// Milliseconds of a minute, after which the time stamp of an adapter starts again.
std::string TimeStamp(Duration now) {
  const auto stamp = std::chrono::duration_cast<std::chrono::milliseconds>(now).count() % 60'000;
  return HexOf(Bytes{static_cast<std::uint8_t>(stamp >> 8), static_cast<std::uint8_t>(stamp)});
}

}  // namespace

Bytes SlcanAdapter::OnBytes(ByteView bytes) {
  Bytes answers;
  for (const SlcanLines::Line& line : lines_.Take(bytes)) {
    const std::string answer = AnswerTo(line.text);
    answers.insert(answers.end(), answer.begin(), answer.end());
  }
  return answers;
}

Bytes SlcanAdapter::OnFrame(ByteView frame) {
  if (!OnTheBus()) {
    return {};
  }
  std::string line = SlcanLineOf(CanFrameTo(wire_.exchange().receive, frame));
  if (time_stamps_) {
    line += TimeStamp(wire_.Now());
  }
  line += kOk;
  return {line.begin(), line.end()};
}

std::string SlcanAdapter::AnswerTo(std::string_view command) {
  if (command.empty()) {
    return kOk;
  }
  switch (command.front()) {
    case 'S':
      return SetBitRate(command);
    case 'O':
      return Open(Channel::kOpen);
    case 'L':
      return Open(Channel::kListenOnly);
    case 'C':
      return Close();
    case 't':
    case 'T':
      return Transmit(command);
    case 'Z':
      return SetTimeStamps(command);
    case 'V':
      return "V1013" + kOk;
    case 'N':
      return "NQM01" + kOk;
    case 'F':
      return "F00" + kOk;
    default:
      return kError;
  }
}

std::string SlcanAdapter::SetBitRate(std::string_view command) {
  const std::optional<std::uint32_t> bit_rate = BitRateOfSlcanCommand(command);
  if (!bit_rate || channel_ != Channel::kClosed) {
    return kError;
  }
  bit_rate_ = *bit_rate;
  return kOk;
}

std::string SlcanAdapter::Open(Channel channel) {
  if (bit_rate_ == 0 || channel_ != Channel::kClosed) {
    return kError;
  }
  channel_ = channel;
  return kOk;
}

std::string SlcanAdapter::Close() {
  if (channel_ == Channel::kClosed) {
    return kError;
  }
  channel_ = Channel::kClosed;
  return kOk;
}

std::string SlcanAdapter::SetTimeStamps(std::string_view command) {
  if (channel_ != Channel::kClosed || (command != "Z0" && command != "Z1")) {
    return kError;
  }
  time_stamps_ = command == "Z1";
  return kOk;
}

std::string SlcanAdapter::Transmit(std::string_view line) {
  const std::optional<CanFrame> frame = CanFrameOfSlcanLine(line);
  if (!frame || channel_ != Channel::kOpen) {
    return kError;
  }
  const bool for_ecu = *frame == CanFrameTo(wire_.exchange().send, frame->data);
  if (for_ecu && OnTheBus()) {
    wire_.Send(frame->data);
  }
  return (frame->extended ? "Z" : "z") + kOk;
}

bool SlcanAdapter::OnTheBus() const {
  return channel_ != Channel::kClosed && bit_rate_ == wire_bit_rate_;
}

std::unique_ptr<SimulatedAdapter> CreateSlcanAdapter(SimulatedWire& wire,
                                                     std::uint32_t wire_bit_rate) {
  return std::make_unique<SlcanAdapter>(wire, wire_bit_rate);
}

}  // namespace quillmark::host
