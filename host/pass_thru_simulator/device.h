// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/bus/pass_thru_api.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host::pass_thru {

/// A call that the device refuses.
class Refusal : public std::runtime_error {
 public:
  Refusal(Status status, const std::string& text) : std::runtime_error(text), status_(status) {}

  [[nodiscard]] Status status() const { return status_; }

 private:
  Status status_;
};

/// A message without the widths of the interface.
struct Frame {
  std::uint32_t protocol = 0;
  std::uint32_t rx_status = 0;
  std::uint32_t tx_flags = 0;
  std::uint32_t timestamp = 0;
  Bytes data{};
};

/// What a simulated adapter is connected to, and what is special about it.
struct DeviceOptions {
  /// The same ECU is behind each connector, in the form that it carries.
  std::function<EcuOptions(TransportForm form)> ecu;
  WireSpeed speed{};
  WireFaults faults{};
  /// Nothing: the adapter cannot tell.
  std::optional<std::uint32_t> millivolts = 12'600;
  /// Skips the time in which nothing happens but that something is on its way.
  bool is_fast = false;
  /// Every sent message comes back, and word of when it was sent, as some adapters have it.
  bool echoes = true;
  /// Takes new values of parameters, but keeps the old ones.
  bool keeps_parameters = false;
  /// What the adapter adds to the time of each message that it sends.
  std::chrono::milliseconds slow_write{0};
  /// How many received messages have room.
  std::size_t receive_buffer = 1000;
};

/// A SAE J2534 adapter, API 04.04, with a simulated ECU at the end of each wire, in real time. As
/// strict as real ones: every operation raises Refusal where an argument breaks the rules.
/// Everything happens inside of calls, at the time at which it is due.
class Device {
 public:
  /// What breaks the rules without a status of its own.
  using Complaint = std::function<void(const std::string& text)>;

  Device(DeviceOptions options, Complaint complaint);

  [[nodiscard]] std::uint32_t Connect(std::uint32_t protocol, std::uint32_t flags,
                                      std::uint32_t baud);
  void Disconnect(std::uint32_t channel);
  /// Whether a channel is left to disconnect: nobody can on an adapter that is gone.
  [[nodiscard]] bool HasChannels() const { return !is_gone_ && !channels_.empty(); }

  /// At most `most` messages; waits for all of them until `timeout`. `status` says why there are
  /// fewer.
  [[nodiscard]] std::vector<Frame> Read(std::uint32_t channel, std::size_t most,
                                        std::chrono::milliseconds timeout, Status& status);
  /// `sent` counts what was sent also where this raises.
  void Write(std::uint32_t channel, const std::vector<Frame>& frames,
             std::chrono::milliseconds timeout, std::size_t& sent);
  [[nodiscard]] std::uint32_t StartPeriodic(std::uint32_t channel, const Frame& frame,
                                            std::uint32_t interval);
  void StopPeriodic(std::uint32_t channel, std::uint32_t id);
  [[nodiscard]] std::uint32_t StartFilter(std::uint32_t channel, std::uint32_t type,
                                          const Frame& mask, const Frame& pattern,
                                          const Frame* flow_control);
  void StopFilter(std::uint32_t channel, std::uint32_t id);
  void SetProgrammingVoltage(std::uint32_t pin, std::uint32_t millivolts) const;

  [[nodiscard]] std::uint32_t GetParameter(std::uint32_t channel, std::uint32_t name);
  void SetParameter(std::uint32_t channel, std::uint32_t name, std::uint32_t value);
  [[nodiscard]] std::uint32_t Millivolts() const;
  /// The reply; nothing if the ECU is only woken.
  [[nodiscard]] std::optional<Frame> FastInit(std::uint32_t channel, const Frame* request);
  void ClearReceiveBuffer(std::uint32_t channel);
  void ClearPeriodic(std::uint32_t channel);
  void ClearFilters(std::uint32_t channel);
  /// Raises for a channel that is not open.
  void Require(std::uint32_t channel) { static_cast<void>(At(channel)); }

  /// The ECU that was used last; null if none was.
  [[nodiscard]] const SimulatedEcu* Ecu() const;

 private:
  struct Filter {
    std::uint32_t type;
    std::uint32_t flags;
    Bytes mask;
    Bytes pattern;
  };
  struct Periodic {
    Frame frame;
    Duration interval;
    Duration next;
  };
  /// A wire with its ECU, which goes on living when a channel is closed.
  struct Network {
    Network(const EcuOptions& options, const WireSpeed& speed, const WireFaults& faults);

    SimulatedEcu ecu;
    SimulatedWire wire;
    Duration quiet_since{};
  };
  struct Channel {
    std::uint32_t protocol = 0;
    std::uint32_t flags = 0;
    std::uint32_t baud = 0;
    std::map<std::uint32_t, std::uint32_t> parameters{};
    std::map<std::uint32_t, Filter> filters{};
    std::map<std::uint32_t, Periodic> periodic{};
    std::deque<Frame> received{};
    /// When each message in the transmit buffer is on the bus.
    std::deque<Duration> unsent{};
    bool overflow = false;
    bool is_clear = false;
    Network* network = nullptr;
  };

  [[nodiscard]] Channel& At(std::uint32_t channel);
  [[nodiscard]] Network* NetworkOf(std::uint32_t protocol);
  [[nodiscard]] Duration Now() const;
  /// Lets time pass until `end`, or until `done`.
  void RunUntil(Duration end, const std::function<bool()>& done = {});
  void CatchUp(Duration now);
  void SendPeriodic(Channel& channel, Duration now);
  void TakeFrames(Channel& channel);
  [[nodiscard]] std::optional<Duration> NextEvent() const;
  [[nodiscard]] bool OnTheBus(const Channel& channel) const;
  [[nodiscard]] Duration Transmit(Channel& channel, const Frame& frame);
  [[nodiscard]] Duration TransmitOnKLine(Channel& channel, const Frame& frame,
                                         Duration earliest) const;
  void SendOne(Channel& channel, const Frame& frame, std::chrono::milliseconds timeout);
  void Tell(Channel& channel, Frame frame);
  static void CheckMessage(const Channel& channel, const Frame& frame);
  static void CheckKLineMessage(const Channel& channel, const Frame& frame);

  DeviceOptions options_;
  Complaint complaint_;
  Duration skipped_{};
  bool is_gone_ = false;
  std::map<TransportForm, std::unique_ptr<Network>> networks_;
  Network* last_network_ = nullptr;
  std::map<std::uint32_t, Channel> channels_;
  std::uint32_t last_id_ = 0;
};

}  // namespace quillmark::host::pass_thru
