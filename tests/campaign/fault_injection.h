// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

#include "campaign/fault.h"
#include "quillmark/host/simulated_bus.h"

namespace quillmark::campaign {

/// What a host's handler throws.
class HostFailure : public std::runtime_error {
 public:
  HostFailure() : std::runtime_error("the host's handler failed") {}
};

/// Lets the faults of one flash happen: hooks for the bus, the host's callbacks and the ECU. Bad
/// cells are the ECU's own and not dealt with here.
class FaultInjection {
 public:
  struct Surroundings {
    host::TransportForm form;
    std::uint8_t address;  ///< of the ECU
    std::function<void()> reset_ecu;
    /// The ECU refuses the next request with this code.
    std::function<void(std::uint8_t code)> refuse_next;
  };

  FaultInjection(std::vector<Fault> faults, Surroundings surroundings)
      : faults_(std::move(faults)), surroundings_(std::move(surroundings)) {}

  /// What becomes of a frame on the wire. Raises BusError.
  [[nodiscard]] std::vector<host::FrameOnWire> OnFrame(const host::FrameOnWire& frame);
  /// Raises HostFailure.
  void OnProgress(const host::Progress& progress);
  /// Whether the key function is ready. Raises HostFailure.
  [[nodiscard]] bool OnKey();
  /// Raises HostFailure.
  void OnBackup();
  [[nodiscard]] bool StopRequested();

  /// The kinds that have happened, in their order.
  [[nodiscard]] const std::vector<FaultKind>& happened() const { return happened_; }
  /// The phase that the host was told last.
  [[nodiscard]] host::Phase phase() const { return phase_; }
  /// How many frames there were that `kind` can happen to.
  [[nodiscard]] std::uint32_t Chances(FaultKind kind) const {
    return chances_[static_cast<std::size_t>(kind)];
  }

 private:
  /// Whether the fault happens at this chance; if so, it is recorded.
  [[nodiscard]] bool Happens(Fault& fault);
  [[nodiscard]] bool AnyHappens(FaultKind kind);
  [[nodiscard]] bool Concerns(FaultKind kind, const host::FrameOnWire& frame) const;
  [[nodiscard]] std::vector<host::FrameOnWire> Apply(const Fault& fault, host::FrameOnWire frame);
  [[nodiscard]] host::Bytes NegativeResponse(std::uint8_t code) const;
  void KeepOrder(std::vector<host::FrameOnWire>& frames);
  [[nodiscard]] std::vector<host::FrameOnWire> AsRead(const host::FrameOnWire& frame) const;
  /// The bytes behind the first `first_part` come 150 ms late.
  [[nodiscard]] std::vector<host::FrameOnWire> WithPause(const host::FrameOnWire& frame,
                                                         std::size_t first_part) const;
  [[nodiscard]] host::FrameOnWire Stray(host::FrameOnWire frame, std::uint32_t detail) const;
  /// Gateway form: whether the frame is the first piece of a message.
  [[nodiscard]] bool BeginsPieces(host::ByteView data) const;
  void NoteService(const host::FrameOnWire& frame);
  void CountChances(const host::FrameOnWire& frame);

  std::vector<Fault> faults_;
  Surroundings surroundings_;
  std::vector<FaultKind> happened_;
  host::Phase phase_ = host::Phase::kPrepare;
  bool silent_ = false;
  bool cancelled_ = false;
  /// How often the key function was not ready.
  std::uint32_t key_waits_ = 0;
  /// Of the tester's last request.
  std::uint8_t service_ = 0x3E;
  bool begins_request_ = false;
  /// K line, in both directions.
  std::array<host::Duration, 2> last_arrival_{};
  std::array<std::uint32_t, kFaultKinds> chances_{};
};

}  // namespace quillmark::campaign
