// SPDX-License-Identifier: MIT
#include <windows.h>

#include "host/adapters/serial_device.h"

namespace quillmark::host {
namespace {

/// Of a system call that returned `done`.
std::error_code ErrorOf(BOOL done) {
  return done != FALSE ? std::error_code()
                       : std::error_code(static_cast<int>(GetLastError()), std::system_category());
}

/// Lets a pause of a few milliseconds last as long and not until the next of 64 ticks a second:
/// P4 of a K line is at most 20 ms.
void KeepShortPausesShort() {
  [[maybe_unused]] static const bool is_set = timeBeginPeriod(1) == TIMERR_NOERROR;
}

}  // namespace

/// Windows opens a serial port for one program alone.
std::error_code LockSerialDevice(SerialDevice /*device*/) { return {}; }

std::error_code SetBaudRate(SerialDevice device, std::uint32_t baud) {
  KeepShortPausesShort();
  DCB settings{};
  settings.DCBlength = sizeof settings;
  if (const std::error_code error = ErrorOf(GetCommState(device, &settings))) {
    return error;
  }
  settings.BaudRate = baud;
  // Many adapters take their power from these lines.
  settings.fDtrControl = DTR_CONTROL_ENABLE;
  settings.fRtsControl = RTS_CONTROL_ENABLE;
  return ErrorOf(SetCommState(device, &settings));
}

std::uint32_t BaudRateOf(SerialDevice device) {
  DCB settings{};
  settings.DCBlength = sizeof settings;
  return GetCommState(device, &settings) != FALSE ? settings.BaudRate : 0;
}

std::error_code SetBreak(SerialDevice device, bool low) {
  return ErrorOf(low ? SetCommBreak(device) : ClearCommBreak(device));
}

}  // namespace quillmark::host
