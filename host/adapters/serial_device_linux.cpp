// SPDX-License-Identifier: MIT
// A file of its own: the kernel's termios2, which is needed to set a speed as a number, has the
// names of the C library's termios.
#include <asm/termbits.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "host/adapters/serial_device.h"

namespace quillmark::host {
namespace {

using Clock = std::chrono::steady_clock;

std::error_code LastError() { return {errno, std::generic_category()}; }

/// Of a system call that returned `status`.
std::error_code ErrorOf(int status) { return status == 0 ? std::error_code() : LastError(); }

/// Every byte as it is, whatever a terminal would make of it; a byte with a wrong stop bit is lost.
std::error_code MakeRaw(int port) {
  termios2 settings{};
  if (const std::error_code error = ErrorOf(::ioctl(port, TCGETS2, &settings))) {
    return error;
  }
  settings.c_iflag = IGNPAR;
  settings.c_oflag &= ~tcflag_t{OPOST};
  settings.c_lflag &= ~tcflag_t{ECHO | ECHONL | ICANON | ISIG | IEXTEN};
  settings.c_cflag &= ~tcflag_t{CSIZE | PARENB | CSTOPB | CRTSCTS};
  settings.c_cflag |= CS8 | CREAD | CLOCAL;
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  return ErrorOf(::ioctl(port, TCSETS2, &settings));
}

bool IsNotReady() { return errno == EAGAIN || errno == EINTR; }

}  // namespace

class SerialDevice::System {
 public:
  System() = default;
  System(const System&) = delete;
  System& operator=(const System&) = delete;
  System(System&&) = delete;
  System& operator=(System&&) = delete;
  ~System() {
    if (port_ >= 0) {
      ::close(port_);
    }
  }

  [[nodiscard]] int port() const { return port_; }

  [[nodiscard]] std::error_code Open(const std::string& name) {
    port_ = ::open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    return port_ < 0 ? LastError() : MakeRaw(port_);
  }

  /// Until the port is ready for `events`, has failed, or the time is up, which it is not while the
  /// signals of a process interrupt the wait. False where it is up.
  [[nodiscard]] bool Await(short events, Clock::time_point deadline) const {
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    for (;;) {
      const nanoseconds left = std::max(nanoseconds(deadline - Clock::now()), nanoseconds::zero());
      const auto whole = std::chrono::duration_cast<seconds>(left);
      const timespec limit{whole.count(), (left - whole).count()};
      pollfd descriptor{port_, events, 0};
      const int ready = ::ppoll(&descriptor, 1, &limit, nullptr);
      if (ready >= 0 || errno != EINTR) {
        return ready != 0;
      }
    }
  }

 private:
  int port_ = -1;
};

SerialDevice::SerialDevice() : system_(std::make_unique<System>()) {}

SerialDevice::~SerialDevice() = default;

std::error_code SerialDevice::Open(const std::string& name) { return system_->Open(name); }

std::error_code SerialDevice::Lock() {
  return ErrorOf(::flock(system_->port(), LOCK_EX | LOCK_NB));
}

std::error_code SerialDevice::SetBaudRate(std::uint32_t baud) {
  termios2 settings{};
  if (const std::error_code error = ErrorOf(::ioctl(system_->port(), TCGETS2, &settings))) {
    return error;
  }
  constexpr unsigned kBothSpeeds = CBAUD | CBAUD << IBSHIFT;
  settings.c_cflag &= ~kBothSpeeds;
  settings.c_cflag |= BOTHER | BOTHER << IBSHIFT;
  settings.c_ispeed = baud;
  settings.c_ospeed = baud;
  return ErrorOf(::ioctl(system_->port(), TCSETS2, &settings));
}

std::uint32_t SerialDevice::BaudRate() const {
  termios2 settings{};
  return ::ioctl(system_->port(), TCGETS2, &settings) == 0 ? settings.c_ospeed : 0;
}

std::error_code SerialDevice::SetBreak(bool low) {
  return ErrorOf(::ioctl(system_->port(), low ? TIOCSBRK : TIOCCBRK));
}

SerialDevice::Transfer SerialDevice::Write(ByteView bytes, Duration limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  Transfer written;
  while (written.size < bytes.size()) {
    const ByteView rest = bytes.subspan(written.size);
    const ssize_t size = ::write(system_->port(), rest.data(), rest.size());
    if (size < 0 && !IsNotReady()) {
      written.failure = LastError().message();
      break;
    }
    written.size += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    if (size < 0 && !system_->Await(POLLOUT, deadline)) {
      break;
    }
  }
  return written;
}

/// What arrives while the process stands still (Ctrl-Z) is in time, however long that takes: the
/// port is read once more when the time is up.
SerialDevice::Transfer SerialDevice::Read(std::span<std::uint8_t> buffer, Duration timeout) {
  if (timeout > Duration::zero()) {
    static_cast<void>(system_->Await(POLLIN, Clock::now() + timeout));
  }
  const ssize_t size = ::read(system_->port(), buffer.data(), buffer.size());
  if (size > 0) {
    return {.size = static_cast<std::size_t>(size)};
  }
  if (size < 0 && IsNotReady()) {
    return {};
  }
  return {.failure = size == 0 ? "hung up" : LastError().message()};
}

}  // namespace quillmark::host
