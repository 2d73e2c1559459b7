// SPDX-License-Identifier: MIT
#include <utility>

#include "host/adapters/serial_port.h"
#include "quillmark/host/simulator.h"

namespace quillmark::host {
namespace {

class SerialAdapterLine : public AdapterLine {
 public:
  explicit SerialAdapterLine(std::unique_ptr<SerialPort> port) : port_(std::move(port)) {}

  [[nodiscard]] Bytes Read(Duration timeout) const override { return port_->Read(timeout); }
  void Write(ByteView bytes) const override { port_->Write(bytes); }

 private:
  std::unique_ptr<SerialPort> port_;
};

}  // namespace

std::unique_ptr<AdapterLine> OpenAdapterLine(const std::string& device, std::uint32_t baud) {
  return std::make_unique<SerialAdapterLine>(OpenSerialPort(device, baud));
}

}  // namespace quillmark::host
