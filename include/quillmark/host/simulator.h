// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {

/// The line between a simulated adapter and the program that uses it, seen from the adapter.
///
/// Operations raise BusError if the system fails. Threads: used by one thread at a time.
class QUILLMARK_API AdapterLine {
 public:
  AdapterLine() = default;
  AdapterLine(const AdapterLine&) = delete;
  AdapterLine& operator=(const AdapterLine&) = delete;
  AdapterLine(AdapterLine&&) = delete;
  AdapterLine& operator=(AdapterLine&&) = delete;
  virtual ~AdapterLine() = default;

  /// What the other side has written, as soon as that is at least one byte; empty if nothing came
  /// within `timeout`, and after a signal.
  [[nodiscard]] virtual Bytes Read(Duration timeout) const = 0;

  /// Like any serial line, it loses what does not fit if nobody reads.
  virtual void Write(ByteView bytes) const = 0;
};

/// A serial port such as "COM4" or "/dev/ttyS1" that a null-modem cable connects to the port of the
/// other program. Raises BusError.
[[nodiscard]] QUILLMARK_API std::unique_ptr<AdapterLine> OpenAdapterLine(const std::string& device,
                                                                         std::uint32_t baud);

#if !defined(_WIN32)
/// A pseudo-terminal, seen from the side that plays the device. It is open and raw from the start,
/// so that it keeps what is written while no program has it open. Windows has none.
class QUILLMARK_API PseudoTerminal : public AdapterLine {
 public:
  PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;
  PseudoTerminal(PseudoTerminal&&) = delete;
  PseudoTerminal& operator=(PseudoTerminal&&) = delete;
  /// Hangs up.
  ~PseudoTerminal() override;

  /// What the other side opens, such as "/dev/pts/3".
  [[nodiscard]] const std::string& device() const { return device_; }

  [[nodiscard]] Bytes Read(Duration timeout) const override;
  void Write(ByteView bytes) const override;

 private:
  int device_side_ = -1;
  int host_side_ = -1;
  std::string device_;
};
#endif

/// The adapter between a tester's serial port and a simulated wire. It has no clock of its own: its
/// wire has the time.
class QUILLMARK_API SimulatedAdapter {
 public:
  SimulatedAdapter() = default;
  SimulatedAdapter(const SimulatedAdapter&) = delete;
  SimulatedAdapter& operator=(const SimulatedAdapter&) = delete;
  SimulatedAdapter(SimulatedAdapter&&) = delete;
  SimulatedAdapter& operator=(SimulatedAdapter&&) = delete;
  virtual ~SimulatedAdapter() = default;

  /// The tester has written. Puts frames on the wire; returns what the adapter answers at once.
  virtual Bytes OnBytes(ByteView bytes) = 0;
  /// A frame of the ECU has arrived. Returns what the tester gets to read.
  virtual Bytes OnFrame(ByteView frame) = 0;

  /// When the adapter has something to send by itself; nothing if it has not.
  [[nodiscard]] virtual std::optional<Duration> NextDue() const { return std::nullopt; }
  /// That, once its time has come.
  virtual Bytes TakeDue() { return {}; }
};

/// A serial CAN adapter that speaks the LAWICEL protocol. Like real ones it needs its bit rate
/// before its channel is opened, and answers an unsuitable command with a BEL. At a bit rate other
/// than that of the wire it neither receives nor sends. `wire` must outlive the adapter and have
/// the exchange of its ECU selected.
[[nodiscard]] QUILLMARK_API std::unique_ptr<SimulatedAdapter> CreateSlcanAdapter(
    SimulatedWire& wire, std::uint32_t wire_bit_rate);

/// A K line adapter. The line is one wire, so the tester reads back every byte that it sends, once
/// the line has carried it. `wire` as above.
[[nodiscard]] QUILLMARK_API std::unique_ptr<SimulatedAdapter> CreateKLineAdapter(
    SimulatedWire& wire, const WireSpeed& speed);

/// Simulates a wire and the adapter on it, in real time, for the program at the other end of a
/// line.
class QUILLMARK_API EcuServer {
 public:
  /// How a run is ended, and what is called while it lasts; both may be empty.
  struct Callbacks {
    /// Asked at least five times a second; true ends the run.
    std::function<bool()> stop_requested{};
    /// Called whenever nothing has happened for a fifth of a second.
    std::function<void()> on_quiet{};
  };

  /// All of them must outlive the server.
  EcuServer(const AdapterLine& line, SimulatedWire& wire, SimulatedAdapter& adapter)
      : line_(line), wire_(wire), adapter_(adapter) {}

  /// Returns when it is asked to stop. A BusError of the fault injector, which removes the adapter,
  /// passes through.
  void Run(const Callbacks& callbacks);

 private:
  /// Processes everything that is due and passes it to the tester.
  void CatchUp();
  /// Until something is due, at most `limit`.
  [[nodiscard]] Duration TimeToNextEvent(Duration limit) const;

  const AdapterLine& line_;
  SimulatedWire& wire_;
  SimulatedAdapter& adapter_;
};

}  // namespace quillmark::host
