// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/tool/reporter.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/open_bus.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// What is about to be erased and written, for the one who decides.
struct EraseQuestion {
  std::string ecu;  ///< its identification
  std::uint8_t memory = 0;
  std::uint64_t image_bytes = 0;
  std::uint32_t first_address = 0;
  std::uint32_t last_address = 0;
};

/// "erase memory 00 of …", "and write … into … to …".
[[nodiscard]] std::vector<std::string> LinesOf(const EraseQuestion& question);

/// What a run on one ECU has around it. A run uses it on its own thread alone.
struct Surroundings {
  /// Is told everything. It outlives the run.
  Reporter& reporter;
  /// Whether the run is to end at its next safe point; asked several times a second.
  std::function<bool()> stop_requested;
  /// Asked before anything is erased, and again while the answer is "not yet". A call takes less
  /// than a second. Empty: the answer is yes.
  std::function<Programmer::Answer(const EraseQuestion&)> ask{};
  /// Told what would become of the ECU's memory if the run ended at once; may be empty.
  std::function<void(EcuMemory)> on_memory{};
  /// Opens a bus that is not `sim:`.
  std::function<std::unique_ptr<Bus>(const BusUri&)> open_bus = OpenBus;
};

/// Those of a command: its signals and its terminal, on which it asks if `asks` and if somebody is
/// there. Catches interrupts.
[[nodiscard]] Surroundings SurroundingsOfProcess(Reporter& reporter, bool asks = false);

/// What a process that ends at once says of the memory of its ECU.
[[nodiscard]] const char* LeftBehindOf(EcuMemory memory);

/// Whether a terminal is there to ask on.
[[nodiscard]] bool SomebodyIsThere();

/// Asks on the terminal, at the first call; waits a moment for the answer, which only "y" and "yes"
/// make a yes. `subject` says what it is about; it is shown if the standard output, which has it
/// too, is not a terminal.
class TerminalQuestion {
 public:
  TerminalQuestion() = default;
  TerminalQuestion(const TerminalQuestion&) = delete;
  TerminalQuestion& operator=(const TerminalQuestion&) = delete;
  TerminalQuestion(TerminalQuestion&&) = delete;
  TerminalQuestion& operator=(TerminalQuestion&&) = delete;
  /// Ends the line of a question that has no answer.
  ~TerminalQuestion();

  [[nodiscard]] Programmer::Answer Ask(const std::vector<std::string>& subject);

 private:
  [[nodiscard]] bool IsAnswered() const { return answer_.ends_with('\n'); }

  bool asked_ = false;
  std::string answer_;
};

}  // namespace quillmark::host
