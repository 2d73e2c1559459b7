// SPDX-License-Identifier: MIT
#pragma once

#include <linux/can.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "quillmark/host/simulated_bus.h"
#include "tests/host/socket_can/stand_in_protocol.h"

namespace quillmark::host::testing {

/// What goes wrong in the kernel's CAN interface.
struct CanBusFaults {
  /// Every frame whose number is a multiple of this finds the transmit queue full (ENOBUFS) once.
  std::uint64_t full_queue_every = 0;
  /// From the frame of this number on the queue stays full: nobody acknowledges.
  std::uint64_t full_queue_from = 0;
  /// At the frame of this number the interface goes off the bus, and says so in an error frame.
  std::uint64_t bus_off_at = 0;
  /// At the frame of this number the interface disappears.
  std::uint64_t gone_at = 0;
};

/// The kernel's side of the stand-in: the CAN bus behind the sockets of a process in which the
/// stand-in is preloaded, with a simulated ECU at its end, in real time on a thread of its own.
class CanBus {
 public:
  /// `wire` is of this object alone from now on. Listens at the path `address`.
  CanBus(std::string address, SimulatedWire& wire, const CanBusFaults& faults);
  CanBus(const CanBus&) = delete;
  CanBus& operator=(const CanBus&) = delete;
  CanBus(CanBus&&) = delete;
  CanBus& operator=(CanBus&&) = delete;
  ~CanBus();

  /// How many sockets are bound.
  [[nodiscard]] int Sockets() const { return sockets_; }

 private:
  /// A socket as the kernel has it.
  struct Client {
    int descriptor;
    std::vector<can_filter> filters;
    can_err_mask_t error_mask = 0;
    bool is_bound = false;
  };

  void Serve();
  /// False if the client is gone.
  [[nodiscard]] bool ReadFrom(Client& client);
  [[nodiscard]] int Verdict(const can_frame& frame);
  void Deliver(const can_frame& frame, const Client* sender);
  void Disconnect();

  std::string address_;
  SimulatedWire& wire_;
  CanBusFaults faults_;
  int listener_;
  std::vector<Client> clients_;
  std::uint64_t frames_ = 0;
  bool was_full_ = false;
  bool is_gone_ = false;
  std::atomic<bool> stopped_ = false;
  std::atomic<int> sockets_ = 0;
  std::thread thread_;
};

}  // namespace quillmark::host::testing
