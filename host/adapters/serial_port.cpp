// SPDX-License-Identifier: MIT
#include "host/adapters/serial_port.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/serial_port.hpp>
#include <boost/asio/write.hpp>
#include <optional>
#include <thread>

#include "host/adapters/serial_device.h"

namespace quillmark::host {
namespace {

namespace asio = boost::asio;
using ErrorCode = boost::system::error_code;

/// How long a write may take: the device may hang, or nobody may read the terminal.
constexpr std::chrono::seconds kWriteLimit{5};

class AsioSerialPort : public SerialPort {
 public:
  AsioSerialPort(const std::string& device, std::uint32_t baud) : device_(device) {
    ErrorCode error;
    port_.open(device, error);
    if (error) {
      Fail("cannot be opened", error.message());
    }
    // A second tester on the same adapter would break both sessions. The lock is released with the
    // port.
    if (const std::error_code locked = LockSerialDevice(port_.native_handle())) {
      Fail("is used by another program", locked.message());
    }
    port_.set_option(asio::serial_port::stop_bits(asio::serial_port::stop_bits::one), error);
    port_.set_option(asio::serial_port::flow_control(asio::serial_port::flow_control::none), error);
    if (const std::error_code refused = SetBaudRate(port_.native_handle(), baud)) {
      Fail("cannot be set to " + std::to_string(baud) + " baud", refused.message());
    }
  }

  void Write(ByteView bytes) override {
    const Completion written = Complete(kWriteLimit, [&](auto handler) {
      asio::async_write(port_, asio::buffer(bytes.data(), bytes.size()), handler);
    });
    if (written.error == asio::error::operation_aborted) {
      Fail("takes no bytes", "for " + std::to_string(kWriteLimit.count()) + " s");
    }
    if (written.error) {
      FailAsGone(written.error);
    }
  }

  Bytes Read(Duration timeout) override {
    const Completion read = Complete(
        timeout, [&](auto handler) { port_.async_read_some(asio::buffer(buffer_), handler); });
    if (read.error && read.error != asio::error::operation_aborted) {
      FailAsGone(read.error);
    }
    return {buffer_.data(), buffer_.data() + read.size};
  }

  void Break(std::chrono::milliseconds low) override {
    const auto end = std::chrono::steady_clock::now() + low;
    if (const std::error_code failed = SetBreak(port_.native_handle(), true)) {
      Fail("makes no break", failed.message());
    }
    std::this_thread::sleep_until(end);
    if (const std::error_code failed = SetBreak(port_.native_handle(), false)) {
      Fail("does not end its break", failed.message());
    }
  }

 private:
  struct Completion {
    ErrorCode error;
    std::size_t size = 0;
  };

  /// Starts an operation and waits for its end, which is its cancellation after `timeout`.
  template <typename Start>
  Completion Complete(Duration timeout, Start start) {
    std::optional<Completion> completion;
    start([&completion](const ErrorCode& error, std::size_t size) {
      completion = Completion{error, size};
    });
    context_.restart();
    context_.poll();
    if (!completion) {
      context_.run_for(timeout);
      // While the process is stopped (Ctrl-Z) time passes, and what arrives then is still in time.
      context_.poll();
    }
    if (!completion) {
      ErrorCode ignored;
      port_.cancel(ignored);
      context_.restart();
      context_.run();
    }
    return *completion;
  }

  [[noreturn]] void Fail(const std::string& what, const std::string& reason) const {
    throw BusError(device_ + " " + what + ": " + reason);
  }

  [[noreturn]] void FailAsGone(const ErrorCode& error) const {
    Fail("is gone", error == asio::error::eof ? "hung up" : error.message());
  }

  std::string device_;
  asio::io_context context_{1};
  asio::serial_port port_{context_};
  std::array<std::uint8_t, 4096> buffer_{};
};

}  // namespace

std::unique_ptr<SerialPort> OpenSerialPort(const std::string& device, std::uint32_t baud) {
  return std::make_unique<AsioSerialPort>(device, baud);
}

}  // namespace quillmark::host
