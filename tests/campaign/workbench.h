// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "campaign/fault_injection.h"
#include "campaign/scenario.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/portable_platform.h"

namespace quillmark::campaign {

/// How one flash ended.
struct Outcome {
  bool succeeded = false;
  /// Set if the programmer itself failed.
  std::optional<host::Failure> failure;
  /// Whether the host's own exception came back.
  bool host_failed = false;
  /// Of whatever ended the flash; empty after a success.
  std::string message;
  /// The phase that the host was told last.
  host::Phase phase = host::Phase::kPrepare;
  /// What went wrong on purpose.
  std::vector<FaultKind> faults;
  /// Whether the ECU's memory holds the image.
  bool memory_is_right = false;
  /// Whether anything of the ECU's memory was erased or written.
  bool memory_was_changed = false;
  /// Whether the host keeps what was read before the erasure, and whether that is what the ECU
  /// held.
  bool backup_was_kept = false;
  bool backup_is_right = false;
};

/// A platform, an ECU on a bus and one programmer, on which a scenario is flashed.
class Workbench : private host::SimulatedNode {
 public:
  explicit Workbench(const Scenario& scenario);

  /// With all of the scenario's faults. An exception that a flash should not raise passes through.
  [[nodiscard]] Outcome FlashWithFaults();

  /// With the same programmer and the same ECU, one with bad cells excepted, and an undisturbed
  /// bus.
  [[nodiscard]] Outcome FlashAgain();

  /// From now on, each frame as it arrives, with the time.
  void ShowFrames(std::ostream& out);

  /// In the last flash.
  [[nodiscard]] std::uint32_t Chances(FaultKind kind) const { return injection_->Chances(kind); }

  [[nodiscard]] const PortablePlatform& platform() const { return *platform_; }

 private:
  [[nodiscard]] bool Hears(const host::Exchange& exchange) const override;
  void OnFrame(host::ByteView frame, host::Duration now) override;
  void OnBreak(host::Duration low, host::Duration now) override;
  [[nodiscard]] std::optional<host::Duration> NextDue() const override;
  host::Bytes TakeFrame(host::Duration now) override;

  [[nodiscard]] host::ProgrammerConfig ConfigWithHook();
  [[nodiscard]] Outcome Flash(std::vector<Fault> faults);
  void TryFlash(Outcome& outcome);
  void KeepBackup(const MemoryImage& memory, Outcome& outcome);
  [[nodiscard]] bool MemoryIsRight() const;
  [[nodiscard]] std::vector<FaultKind> BadCells() const;

  const Scenario& scenario_;
  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::shared_ptr<MemoryImage> image_ = platform_->CreateMemoryImage();
  std::unique_ptr<host::SimulatedEcu> ecu_;
  host::SimulatedBus bus_;
  std::optional<FaultInjection> injection_;
  host::Programmer programmer_;
};

}  // namespace quillmark::campaign
