// SPDX-License-Identifier: MIT
#include "host/adapters/serial_device.h"

// Boost wants to be the first that reads windows.h, and leaves out the multimedia timers.
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/serial_port.hpp>
#include <boost/asio/write.hpp>
// They need windows.h.
#include <mmsystem.h>

#include <optional>

namespace quillmark::host {
namespace {

namespace asio = boost::asio;
using ErrorCode = boost::system::error_code;

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

class SerialDevice::System {
 public:
  asio::serial_port& port() { return port_; }
  [[nodiscard]] HANDLE handle() { return port_.native_handle(); }

  /// Starts an operation and waits for its end, which is its cancellation after `timeout`.
  template <typename Start>
  Transfer Complete(Duration timeout, Start start) {
    ErrorCode error;
    std::optional<std::size_t> moved;
    start([&](const ErrorCode& result, std::size_t size) {
      error = result;
      moved = size;
    });
    context_.restart();
    context_.poll();
    if (!moved) {
      context_.run_for(timeout);
      context_.poll();
    }
    if (!moved) {
      ErrorCode ignored;
      port_.cancel(ignored);
      context_.restart();
      context_.run();
    }
    return {.size = moved.value_or(0), .failure = FailureOf(error)};
  }

 private:
  static std::string FailureOf(const ErrorCode& error) {
    if (!error || error == asio::error::operation_aborted) {
      return {};
    }
    return error == asio::error::eof ? "hung up" : error.message();
  }

  asio::io_context context_{1};
  asio::serial_port port_{context_};
};

SerialDevice::SerialDevice() : system_(std::make_unique<System>()) {}

SerialDevice::~SerialDevice() = default;

std::error_code SerialDevice::Open(const std::string& name) {
  using Port = asio::serial_port;
  Port& port = system_->port();
  ErrorCode error;
  port.open(name, error);
  if (!error) {
    ErrorCode ignored;
    port.set_option(Port::stop_bits(Port::stop_bits::one), ignored);
    port.set_option(Port::flow_control(Port::flow_control::none), ignored);
  }
  return error;
}

/// Windows opens a serial port for one program alone.
std::error_code SerialDevice::Lock() { return {}; }

std::error_code SerialDevice::SetBaudRate(std::uint32_t baud) {
  KeepShortPausesShort();
  DCB settings{};
  settings.DCBlength = sizeof settings;
  if (const std::error_code error = ErrorOf(GetCommState(system_->handle(), &settings))) {
    return error;
  }
  settings.BaudRate = baud;
  // Many adapters take their power from these lines.
  settings.fDtrControl = DTR_CONTROL_ENABLE;
  settings.fRtsControl = RTS_CONTROL_ENABLE;
  return ErrorOf(SetCommState(system_->handle(), &settings));
}

std::uint32_t SerialDevice::BaudRate() const {
  DCB settings{};
  settings.DCBlength = sizeof settings;
  return GetCommState(system_->handle(), &settings) != FALSE ? settings.BaudRate : 0;
}

std::error_code SerialDevice::SetBreak(bool low) {
  return ErrorOf(low ? SetCommBreak(system_->handle()) : ClearCommBreak(system_->handle()));
}

SerialDevice::Transfer SerialDevice::Write(ByteView bytes, Duration limit) {
  return system_->Complete(limit, [&](auto handler) {
    asio::async_write(system_->port(), asio::buffer(bytes.data(), bytes.size()), handler);
  });
}

SerialDevice::Transfer SerialDevice::Read(std::span<std::uint8_t> buffer, Duration timeout) {
  return system_->Complete(timeout, [&](auto handler) {
    system_->port().async_read_some(asio::buffer(buffer.data(), buffer.size()), handler);
  });
}

}  // namespace quillmark::host
