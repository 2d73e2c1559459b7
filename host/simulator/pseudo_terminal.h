// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/bus/bus.h"

namespace quillmark::host {

/// A pseudo-terminal, seen from the side that plays the device. It is open and raw from the start,
/// so that it keeps what is written while no program has it open.
///
/// Operations raise BusError if the system fails. Threads: used by one thread at a time.
class PseudoTerminal {
 public:
  PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;
  PseudoTerminal(PseudoTerminal&&) = delete;
  PseudoTerminal& operator=(PseudoTerminal&&) = delete;
  /// Hangs up.
  ~PseudoTerminal();

  /// What the other side opens, such as "/dev/pts/3".
  [[nodiscard]] const std::string& device() const { return device_; }

  /// What the other side has written, as soon as that is at least one byte; empty if nothing came
  /// within `timeout`, and after a signal.
  [[nodiscard]] Bytes Read(Duration timeout) const;

  /// Like a serial line, it loses what does not fit if nobody reads.
  void Write(ByteView bytes) const;

 private:
  int device_side_ = -1;
  int host_side_ = -1;
  std::string device_;
};

}  // namespace quillmark::host
