// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "host/bus/simulated_wire.h"
#include "host/simulator/pseudo_terminal.h"
#include "host/simulator/simulated_adapter.h"

namespace quillmark::host {

/// Simulates a wire and the adapter on it, in real time, for the program that opens a
/// pseudo-terminal.
class EcuServer {
 public:
  struct Callbacks {
    /// Asked at least five times a second; true ends the run.
    std::function<bool()> stop_requested;
    /// Called whenever nothing has happened for a fifth of a second.
    std::function<void()> on_quiet;
  };

  /// All of them must outlive the server.
  EcuServer(const PseudoTerminal& terminal, SimulatedWire& wire, SimulatedAdapter& adapter)
      : terminal_(terminal), wire_(wire), adapter_(adapter) {}

  /// Returns when it is asked to stop. A BusError of the fault injector, which removes the adapter,
  /// passes through.
  void Run(const Callbacks& callbacks);

 private:
  /// Processes everything that is due and passes it to the tester.
  void CatchUp();
  /// Until something is due, at most `limit`.
  [[nodiscard]] Duration TimeToNextEvent(Duration limit) const;

  const PseudoTerminal& terminal_;
  SimulatedWire& wire_;
  SimulatedAdapter& adapter_;
};

}  // namespace quillmark::host
