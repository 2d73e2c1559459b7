// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "host/adapters/real_time_bus.h"
#include "host/adapters/serial_port.h"
#include "host/bus/slcan_codec.h"

namespace quillmark::host {

/// A CAN bus behind a serial adapter that speaks the LAWICEL protocol. It carries the plain CAN
/// form only: what a gateway's channel and line are on the wire is known to its maker alone.
class SlcanBus : public RealTimeBus {
 public:
  /// Closes the adapter's channel, whatever state it was left in, and opens it at `bit_rate`, one
  /// of those that the protocol knows. `confirms` says whether the adapter confirms each command.
  /// Raises BusError.
  SlcanBus(std::unique_ptr<SerialPort> port, std::uint32_t bit_rate, bool confirms);
  SlcanBus(const SlcanBus&) = delete;
  SlcanBus& operator=(const SlcanBus&) = delete;
  SlcanBus(SlcanBus&&) = delete;
  SlcanBus& operator=(SlcanBus&&) = delete;
  /// Closes the channel, so that the adapter stops acknowledging frames on the bus.
  ~SlcanBus() override;

  void Select(const Exchange& exchange) override;
  /// A frame that the adapter does not accept may be lost on the bus. If it does not accept the
  /// next one either, it has failed.
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Break(std::chrono::milliseconds low) override;

 private:
  /// How an adapter replies to a line.
  enum class Reply : std::uint8_t { kNone, kAccepted, kRefused };

  void CloseChannel();
  void Write(const std::string& line);
  /// Raises BusError if the adapter does not accept the line.
  void Command(const std::string& line);
  /// What is wrong with the adapter's reply to `line`; empty if it accepts it.
  [[nodiscard]] std::string TellAdapter(const std::string& line);
  /// Reads for at most `timeout`.
  Reply ReadEvents(Duration timeout);
  void OnUnasked(Reply reply);
  void Keep(const CanFrame& frame);

  std::unique_ptr<SerialPort> port_;
  bool confirms_;
  SlcanReceiver receiver_;
  Exchange exchange_;
  std::deque<Bytes> received_;
  /// The adapter has refused a frame, or reported an error, and nothing has gone well since.
  bool is_in_doubt_ = false;
};

}  // namespace quillmark::host
