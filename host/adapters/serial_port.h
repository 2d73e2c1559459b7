// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A serial port with 8 data bits, no parity, one stop bit and no flow control.
///
/// Every operation raises BusError where the device fails or has disappeared. Threads: used by one
/// thread at a time.
class SerialPort {
 public:
  SerialPort() = default;
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;
  SerialPort(SerialPort&&) = delete;
  SerialPort& operator=(SerialPort&&) = delete;
  virtual ~SerialPort() = default;

  /// Returns once the system has taken all bytes, which may be before they are on the line.
  virtual void Write(ByteView bytes) = 0;

  /// What has arrived, as soon as that is at least one byte; empty where nothing came within
  /// `timeout`, which may be 0.
  [[nodiscard]] virtual Bytes Read(Duration timeout) = 0;

  /// Holds the line low for `low`; returns once it is high again.
  virtual void Break(std::chrono::milliseconds low) = 0;
};

/// Opens `device`, such as "/dev/ttyUSB0" or "COM3", for this process alone, at any speed that its
/// driver can make: 10400 baud is not a standard rate. Raises BusError.
[[nodiscard]] std::unique_ptr<SerialPort> OpenSerialPort(const std::string& device,
                                                         std::uint32_t baud);

}  // namespace quillmark::host
