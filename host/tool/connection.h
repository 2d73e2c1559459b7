#pragma once

#include <functional>
#include <memory>

#include "host/bus/simulated_bus.h"
#include "host/ecu/simulated_ecu.h"
#include "host/programmer/programmer.h"
#include "host/tool/link_options.h"
#include "host/tool/session_options.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {

/// The settings of a programmer that the options say; memory, cutting and check routine are left at
/// their defaults.
[[nodiscard]] ProgrammerConfig MakeConfig(const LinkOptions& link, const SessionOptions& session);

/// Puts itself between a bus and its user: returns the bus to use instead, or null.
using BusTap = std::function<std::unique_ptr<Bus>(Bus& bus)>;

/// A programmer on the bus that the options name, with everything that it stands on. On a simulated
/// bus the ECU is made to fit the configuration.
class Connection {
 public:
  /// Raises CLI::ValidationError for a bus that there is not and for settings that cannot work.
  Connection(const LinkOptions& link, const SessionOptions& session, const ProgrammerConfig& config,
             const BusTap& tap = {});
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Connection(Connection&&) = delete;
  Connection& operator=(Connection&&) = delete;
  /// Waits until no transfer worker runs.
  ~Connection();

  [[nodiscard]] Platform& platform() { return *platform_; }
  [[nodiscard]] Programmer& programmer() { return *programmer_; }

 private:
  std::shared_ptr<PortablePlatform> platform_;
  std::unique_ptr<SimulatedEcu> ecu_;
  std::unique_ptr<SimulatedBus> bus_;
  std::unique_ptr<Bus> tapped_bus_;
  std::unique_ptr<Programmer> programmer_;
};

}  // namespace quillmark::host
