// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <system_error>

/// What the system does with an open serial port beyond reading and writing; each is done by
/// serial_device_linux.cpp or serial_device_windows.cpp.
namespace quillmark::host {

#if defined(_WIN32)
using SerialDevice = void*;
#else
using SerialDevice = int;
#endif

/// Locks the port against other programs until it is closed. Fails if another one has it.
[[nodiscard]] std::error_code LockSerialDevice(SerialDevice device);

/// Sets both directions to any speed, not only to those that have a name. Fails if the driver
/// refuses.
[[nodiscard]] std::error_code SetBaudRate(SerialDevice device, std::uint32_t baud);

/// The speed; 0 if it cannot be read.
[[nodiscard]] std::uint32_t BaudRateOf(SerialDevice device);

/// Begins to hold the line low, or ends that.
[[nodiscard]] std::error_code SetBreak(SerialDevice device, bool low);

}  // namespace quillmark::host
