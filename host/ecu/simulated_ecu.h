// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "host/bus/simulated_bus.h"
#include "host/ecu/application.h"
#include "host/ecu/options.h"
#include "host/ecu/transport.h"

namespace quillmark::host {

/// A whole ECU, simulated: a transport and the diagnostic application behind it. It is
/// deterministic, has no clock and does no input or output; it is told what happens as a
/// SimulatedNode. It shares no code with the component, so that a mistake cannot cancel itself out.
///
/// Threads: used by one thread at a time.
class SimulatedEcu : public SimulatedNode {
 public:
  /// Raises std::invalid_argument for inconsistent options.
  explicit SimulatedEcu(const EcuOptions& options = {});

  /// The contents of the memory, the records and the counters.
  [[nodiscard]] const Application& application() const { return application_; }

  /// Interrupts its power: what is in progress is lost, and the ECU does not react during the boot
  /// time.
  void Reset(Duration now);

  /// Refuses the next request with `code`, and does not execute it; nothing: accepts it again.
  void RefuseNext(std::optional<std::uint8_t> code) { application_.RefuseNext(code); }

  /// How a tester reaches the ECU.
  [[nodiscard]] const Exchange& exchange() const { return exchange_; }

  [[nodiscard]] bool Hears(const Exchange& exchange) const override;
  void OnFrame(ByteView frame, Duration now) override;
  void OnBreak(Duration low, Duration now) override;
  [[nodiscard]] std::optional<Duration> NextDue() const override;
  Bytes TakeFrame(Duration now) override;

 private:
  [[nodiscard]] bool Deaf(Duration now) const;

  EcuOptions options_;
  Exchange exchange_;
  Application application_;
  std::unique_ptr<EcuTransport> transport_;
  std::optional<Duration> booted_at_;
};

}  // namespace quillmark::host
