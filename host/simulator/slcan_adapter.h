// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/bus/slcan_codec.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulator.h"

namespace quillmark::host {

/// A serial CAN adapter that speaks the LAWICEL protocol, on a wire with one ECU. Like real ones it
/// needs its bit rate before its channel is opened, and answers an unsuitable command with a BEL.
/// At a bit rate other than that of the wire it neither receives nor sends.
class SlcanAdapter : public SimulatedAdapter {
 public:
  /// `wire` must outlive the adapter and have the exchange of its ECU selected.
  SlcanAdapter(SimulatedWire& wire, std::uint32_t wire_bit_rate)
      : wire_(wire), wire_bit_rate_(wire_bit_rate) {}

  Bytes OnBytes(ByteView bytes) override;
  Bytes OnFrame(ByteView frame) override;

 private:
  enum class Channel : std::uint8_t { kClosed, kOpen, kListenOnly };

  [[nodiscard]] std::string AnswerTo(std::string_view command);
  [[nodiscard]] std::string Open(Channel channel);
  [[nodiscard]] std::string Close();
  [[nodiscard]] std::string SetBitRate(std::string_view command);
  [[nodiscard]] std::string SetTimeStamps(std::string_view command);
  [[nodiscard]] std::string Transmit(std::string_view line);
  [[nodiscard]] bool OnTheBus() const;

  SimulatedWire& wire_;
  std::uint32_t wire_bit_rate_;
  SlcanLines lines_;
  std::uint32_t bit_rate_ = 0;
  Channel channel_ = Channel::kClosed;
  bool time_stamps_ = false;
};

}  // namespace quillmark::host
