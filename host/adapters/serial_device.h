// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <system_error>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A serial port as the system has it; done by serial_device_linux.cpp or
/// serial_device_windows.cpp.
class SerialDevice {
 public:
  /// What an operation with a time limit has moved, which is less than asked where the time was up.
  struct Transfer {
    std::size_t size = 0;
    /// Why the device takes part no more, in the words of the system; empty while it does.
    std::string failure{};
  };

  SerialDevice();
  SerialDevice(const SerialDevice&) = delete;
  SerialDevice& operator=(const SerialDevice&) = delete;
  SerialDevice(SerialDevice&&) = delete;
  SerialDevice& operator=(SerialDevice&&) = delete;
  ~SerialDevice();

  /// Opens the port with 8 data bits, no parity, one stop bit and no flow control, so that it hands
  /// over every byte as it is. Precedes all other operations.
  [[nodiscard]] std::error_code Open(const std::string& name);

  /// Locks the port against other programs until it is closed. Fails if another one has it.
  [[nodiscard]] std::error_code Lock();

  /// Sets both directions to any speed, not only to those that have a name. Fails if the driver
  /// refuses.
  [[nodiscard]] std::error_code SetBaudRate(std::uint32_t baud);

  /// The speed; 0 if it cannot be read.
  [[nodiscard]] std::uint32_t BaudRate() const;

  /// Begins to hold the line low, or ends that.
  [[nodiscard]] std::error_code SetBreak(bool low);

  /// Writes all bytes, unless that takes longer than `limit`.
  [[nodiscard]] Transfer Write(ByteView bytes, Duration limit);

  /// Reads what is there, or waits up to `timeout` for at least one byte.
  [[nodiscard]] Transfer Read(std::span<std::uint8_t> buffer, Duration timeout);

 private:
  class System;
  std::unique_ptr<System> system_;
};

}  // namespace quillmark::host
