// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "host/bus/simulated_wire.h"
#include "host/simulator/pseudo_terminal.h"
#include "host/simulator/simulated_adapter.h"

namespace quillmark::host {

/// Plays a wire and the adapter on it to whoever opens a pseudo-terminal, in real time.
class EcuServer {
 public:
  struct Callbacks {
    /// Asked at least five times a second; true ends the run.
    std::function<bool()> stop_requested;
    /// Called whenever nothing has happened for a fifth of a second.
    std::function<void()> on_quiet;
  };

  /// All must outlive the server.
  EcuServer(const PseudoTerminal& terminal, SimulatedWire& wire, SimulatedAdapter& adapter)
      : terminal_(terminal), wire_(wire), adapter_(adapter) {}

  /// Returns when it is asked to stop. BusError of the wire's fault injector, which takes the
  /// adapter away, passes through.
  void Run(const Callbacks& callbacks);

 private:
  /// Lets everything happen that is due and hands it to the tester.
  void CatchUp();
  /// Until something is due, at most `limit`.
  [[nodiscard]] Duration TimeToNextEvent(Duration limit) const;

  const PseudoTerminal& terminal_;
  SimulatedWire& wire_;
  SimulatedAdapter& adapter_;
};

}  // namespace quillmark::host
