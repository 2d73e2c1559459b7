// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "quillmark/host/simulator.h"

namespace quillmark::host {

PseudoTerminal::PseudoTerminal() {
  termios raw{};
  ::cfmakeraw(&raw);
  std::array<char, 64> name{};
  if (::openpty(&device_side_, &host_side_, name.data(), &raw, nullptr) != 0) {
    throw BusError(std::string("there is no pseudo-terminal: ") + std::strerror(errno));
  }
  device_ = name.data();
  ::fcntl(device_side_, F_SETFL, O_NONBLOCK);
  ::fcntl(device_side_, F_SETFD, FD_CLOEXEC);
  ::fcntl(host_side_, F_SETFD, FD_CLOEXEC);
}

PseudoTerminal::~PseudoTerminal() {
  ::close(host_side_);
  ::close(device_side_);
}

Bytes PseudoTerminal::Read(Duration timeout) const {
  pollfd descriptor{device_side_, POLLIN, 0};
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
  const std::chrono::nanoseconds rest = timeout - seconds;
  const timespec limit{seconds.count(), rest.count()};
  if (::ppoll(&descriptor, 1, &limit, nullptr) <= 0) {
    return {};
  }
  Bytes bytes(4096);
  const ssize_t size = ::read(device_side_, bytes.data(), bytes.size());
  bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return bytes;
}

void PseudoTerminal::Write(ByteView bytes) const {
  const ssize_t size = ::write(device_side_, bytes.data(), bytes.size());
  if (size < 0 && errno != EAGAIN) {
    throw BusError(device_ + " cannot be written: " + std::strerror(errno));
  }
}

}  // namespace quillmark::host
