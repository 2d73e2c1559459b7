// SPDX-License-Identifier: MIT
// A file of its own: the kernel's termios2, which is needed to set a speed as a number, has the
// names of the C library's termios.
#include <asm/termbits.h>
#include <sys/file.h>
#include <sys/ioctl.h>

#include <cerrno>

#include "host/adapters/serial_device.h"

namespace quillmark::host {
namespace {

/// Of a system call that returned `status`.
std::error_code ErrorOf(int status) {
  return status == 0 ? std::error_code() : std::error_code(errno, std::generic_category());
}

}  // namespace

std::error_code LockSerialDevice(SerialDevice device) {
  return ErrorOf(::flock(device, LOCK_EX | LOCK_NB));
}

std::error_code SetBaudRate(SerialDevice device, std::uint32_t baud) {
  termios2 settings{};
  if (const std::error_code error = ErrorOf(::ioctl(device, TCGETS2, &settings))) {
    return error;
  }
  constexpr unsigned kBothSpeeds = CBAUD | CBAUD << IBSHIFT;
  settings.c_cflag &= ~kBothSpeeds;
  settings.c_cflag |= BOTHER | BOTHER << IBSHIFT;
  settings.c_ispeed = baud;
  settings.c_ospeed = baud;
  return ErrorOf(::ioctl(device, TCSETS2, &settings));
}

std::uint32_t BaudRateOf(SerialDevice device) {
  termios2 settings{};
  return ::ioctl(device, TCGETS2, &settings) == 0 ? settings.c_ospeed : 0;
}

std::error_code SetBreak(SerialDevice device, bool low) {
  return ErrorOf(::ioctl(device, low ? TIOCSBRK : TIOCCBRK));
}

}  // namespace quillmark::host
