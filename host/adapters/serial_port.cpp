// SPDX-License-Identifier: MIT
#include "host/adapters/serial_port.h"

#include <array>
#include <thread>

#include "host/adapters/serial_device.h"

namespace quillmark::host {
namespace {

/// How long a write may take: the device may hang, or nobody may read the terminal.
constexpr std::chrono::seconds kWriteLimit{5};

class SystemSerialPort : public SerialPort {
 public:
  SystemSerialPort(const std::string& name, std::uint32_t baud) : name_(name) {
    Require(device_.Open(name), "cannot be opened");
    // A second tester on the same adapter would break both sessions. The lock is released with the
    // port.
    Require(device_.Lock(), "is used by another program");
    Require(device_.SetBaudRate(baud), "cannot be set to " + std::to_string(baud) + " baud");
  }

  void Write(ByteView bytes) override {
    const SerialDevice::Transfer written = device_.Write(bytes, kWriteLimit);
    RequireDevice(written);
    if (written.size < bytes.size()) {
      Fail("takes no bytes", "for " + std::to_string(kWriteLimit.count()) + " s");
    }
  }

  Bytes Read(Duration timeout) override {
    const SerialDevice::Transfer read = device_.Read(buffer_, timeout);
    RequireDevice(read);
    return {buffer_.data(), buffer_.data() + read.size};
  }

  void Break(std::chrono::milliseconds low) override {
    const auto end = std::chrono::steady_clock::now() + low;
    Require(device_.SetBreak(true), "makes no break");
    std::this_thread::sleep_until(end);
    Require(device_.SetBreak(false), "does not end its break");
  }

 private:
  void Require(const std::error_code& error, const std::string& what) const {
    if (error) {
      Fail(what, error.message());
    }
  }

  void RequireDevice(const SerialDevice::Transfer& transfer) const {
    if (!transfer.failure.empty()) {
      Fail("is gone", transfer.failure);
    }
  }

  [[noreturn]] void Fail(const std::string& what, const std::string& reason) const {
    throw BusError(name_ + " " + what + ": " + reason);
  }

  std::string name_;
  SerialDevice device_;
  std::array<std::uint8_t, 4096> buffer_{};
};

}  // namespace

std::unique_ptr<SerialPort> OpenSerialPort(const std::string& device, std::uint32_t baud) {
  return std::make_unique<SystemSerialPort>(device, baud);
}

}  // namespace quillmark::host
