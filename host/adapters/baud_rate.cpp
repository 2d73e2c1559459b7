// SPDX-License-Identifier: MIT
// A file of its own: the kernel's termios2, which is needed to set a speed as a number, has the
// names of the C library's termios.
#include <asm/termbits.h>
#include <sys/ioctl.h>

#include "host/adapters/serial_port.h"

namespace quillmark::host {

bool SetBaudRate(int descriptor, std::uint32_t baud) {
  termios2 settings{};
  if (::ioctl(descriptor, TCGETS2, &settings) != 0) {
    return false;
  }
  constexpr unsigned kBothSpeeds = CBAUD | CBAUD << IBSHIFT;
  settings.c_cflag &= ~kBothSpeeds;
  settings.c_cflag |= BOTHER | BOTHER << IBSHIFT;
  settings.c_ispeed = baud;
  settings.c_ospeed = baud;
  return ::ioctl(descriptor, TCSETS2, &settings) == 0;
}

std::uint32_t BaudRateOf(int descriptor) {
  termios2 settings{};
  return ::ioctl(descriptor, TCGETS2, &settings) == 0 ? settings.c_ospeed : 0;
}

}  // namespace quillmark::host
