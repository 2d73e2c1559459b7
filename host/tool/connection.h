// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "host/tool/interrupt.h"
#include "host/tool/link_options.h"
#include "host/tool/session_options.h"
#include "host/tool/surroundings.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {

/// The settings of a programmer that the options say; key, memory, cutting and check routine are
/// left at their defaults.
[[nodiscard]] ProgrammerConfig MakeConfig(const LinkOptions& link, const SessionOptions& session);

/// Puts itself between a bus and its user: returns the bus to use instead, or null.
using BusTap = std::function<std::unique_ptr<Bus>(Bus& bus)>;

/// A programmer on the bus that the options name, with everything that it needs. On a simulated bus
/// the ECU is made to fit the configuration.
///
/// Without a key command only a simulated ECU, in this process or in another, gets a key: a guess
/// would cost a real one an attempt. While it lives, the machine stays awake.
class Connection {
 public:
  /// Raises BusError if an adapter cannot be opened, and CLI::ValidationError for settings that
  /// cannot work. The reporter of `surroundings` is told of what happens beside the work: a key
  /// command's words, a suspension.
  Connection(const LinkOptions& link, const SessionOptions& session, const ProgrammerConfig& config,
             const Surroundings& surroundings, const BusTap& tap = {});
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Connection(Connection&&) = delete;
  Connection& operator=(Connection&&) = delete;
  /// Waits until no transfer worker runs.
  ~Connection();

  [[nodiscard]] Platform& platform() { return *platform_; }
  [[nodiscard]] Programmer& programmer() { return *programmer_; }

  /// The voltage of the battery; nothing if the adapter cannot tell. Raises BusError.
  [[nodiscard]] std::optional<std::uint32_t> BatteryMillivolts() {
    return bus_->BatteryMillivolts();
  }

  /// Called with each identification, also with that of an ECU that is not the expected one.
  void OnIdentified(std::function<void(const Identification&)> on_identified) {
    on_identified_ = std::move(on_identified);
  }

  /// Tells the reporter how far the work is.
  void ShowProgress();

 private:
  [[nodiscard]] KeyFunction MakeKey(const SessionOptions& session);
  void OpenBus(const LinkOptions& link, const SessionOptions& session,
               const ProgrammerConfig& config);
  [[nodiscard]] Bytes KeyOfSimulatedEcu(const Bytes& seed) const;
  void ReportAdapter();
  /// Tells of a suspension since the last look that may have cost the session.
  void LookForSuspension();

  StayAwake awake_;
  Surroundings surroundings_;
  Reporter& reporter_;
  std::shared_ptr<PortablePlatform> platform_;
  std::unique_ptr<SimulatedEcu> ecu_;
  std::unique_ptr<Bus> bus_;
  std::unique_ptr<Bus> tapped_bus_;
  std::unique_ptr<Programmer> programmer_;
  std::function<void(const Identification&)> on_identified_;
  bool ecu_is_simulated_;
  std::chrono::milliseconds tester_present_interval_;
  std::chrono::steady_clock::time_point last_look_ = std::chrono::steady_clock::now();
  bool looks_again_ = false;
};

}  // namespace quillmark::host
