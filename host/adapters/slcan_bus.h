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
/// form only: how the channel and the line of a gateway appear on a wire is known to its
/// manufacturer alone.
class SlcanBus : public RealTimeBus {
 public:
  /// Closes the adapter's channel, whatever state it was left in, and opens it at `bit_rate`, one
  /// of those that the protocol defines. `confirms` says whether the adapter confirms commands.
  /// Raises BusError.
  SlcanBus(std::unique_ptr<SerialPort> port, std::uint32_t bit_rate, bool confirms);
  SlcanBus(const SlcanBus&) = delete;
  SlcanBus& operator=(const SlcanBus&) = delete;
  SlcanBus(SlcanBus&&) = delete;
  SlcanBus& operator=(SlcanBus&&) = delete;
  /// Closes the channel, so that the adapter stops acknowledging frames on the bus.
  ~SlcanBus() override;

  void Select(const Exchange& exchange) override;
  void DiscardReceived() override;
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Break(std::chrono::milliseconds low) override;

 private:
  void CloseChannel();
  void Write(const std::string& line);
  void Command(const std::string& line);
  void AwaitConfirmation(const std::string& line);
  /// Reads for at most `timeout`. Returns whether it included a confirmation.
  bool ReadEvents(Duration timeout, const std::string& line);
  void Keep(const CanFrame& frame);

  std::unique_ptr<SerialPort> port_;
  bool confirms_;
  SlcanReceiver receiver_;
  Exchange exchange_;
  std::deque<Bytes> received_;
};

}  // namespace quillmark::host
