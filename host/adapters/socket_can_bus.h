// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/adapters/real_time_bus.h"

namespace quillmark::host {

/// A CAN interface of the Linux kernel, through a raw socket. Its bit rate is set when the
/// interface is brought up. It carries the plain CAN form only.
class SocketCanBus : public RealTimeBus {
 public:
  /// `interface` is a name such as "can0". Raises BusError if there is no such interface or the
  /// kernel has no CAN sockets.
  explicit SocketCanBus(const std::string& interface);
  SocketCanBus(const SocketCanBus&) = delete;
  SocketCanBus& operator=(const SocketCanBus&) = delete;
  SocketCanBus(SocketCanBus&&) = delete;
  SocketCanBus& operator=(SocketCanBus&&) = delete;
  ~SocketCanBus() override;

  void Select(const Exchange& exchange) override;
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Break(std::chrono::milliseconds low) override;

 private:
  [[noreturn]] void Fail(const std::string& what) const;
  /// Whether there is something to read, including an error, within `timeout`.
  [[nodiscard]] bool AwaitInput(Duration timeout) const;
  /// The next frame that has arrived; nothing if none has.
  [[nodiscard]] std::optional<Bytes> ReadFrame() const;

  std::string interface_;
  int socket_;
  Exchange exchange_;
};

/// Whether this kernel has CAN sockets at all.
[[nodiscard]] bool HasSocketCan();

}  // namespace quillmark::host
