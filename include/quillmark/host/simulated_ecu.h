// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_bus.h"

namespace quillmark::host {

/// An area of flash memory that is erased as a whole.
struct FlashAreaOptions {
  /// The identifier (`RL`) by which erase and download name the area.
  std::uint8_t identifier = 0;
  std::uint32_t start = 0;         ///< its first address
  std::uint32_t size = 0x1000000;  ///< in bytes, at least 1; all addresses have 24 bits
  /// What every cell holds before the first erase: the old program.
  std::uint8_t content = 0x5A;
  /// What the first cells hold instead, at most as many as there are.
  Bytes first_cells{};
};

/// When the ECU answers, in simulated time.
struct EcuTiming {
  /// On CAN: from the end of a request to its reply (P2).
  std::chrono::milliseconds answer_delay{2};
  /// The same on a K line, not less than 25 ms.
  std::chrono::milliseconds k_line_answer_delay{25};
  /// From a "response pending" to the next answer.
  std::chrono::milliseconds pending_interval{200};
  /// From a first or consecutive frame to the flow control, and from a gateway's piece to its
  /// acknowledgement.
  std::chrono::microseconds flow_control_delay{100};
  /// How long the ECU waits for the next frame of a message (N_Bs, N_Cr).
  std::chrono::milliseconds frame_timeout{1000};
  /// Silence of the tester after which the session lapses (S3, P3 max).
  std::chrono::milliseconds session_timeout{5000};
  /// From a reset until the ECU hears again.
  std::chrono::milliseconds boot_time{100};
  /// How long security access stays closed after too many wrong keys.
  std::chrono::milliseconds security_delay{10'000};
  /// How long the erase runs.
  std::chrono::milliseconds erase_time{250};
  /// How long the check routine runs.
  std::chrono::milliseconds check_time{150};
};

/// The faults of the ECU.
struct Misbehaviour {
  /// Does not answer at all, on any layer.
  bool silent = false;
  /// Refuses every key.
  bool refuses_key = false;
  /// Reports a wrong checksum for the k-th download block, counted from 1.
  std::optional<std::uint32_t> bad_checksum_at_block{};
  /// Service identifier: number of "response pending" before each of its answers.
  std::map<std::uint8_t, int> pending{};
  /// Service identifier: how many of its requests are answered with 21, busy, repeat request, and
  /// not executed.
  std::map<std::uint8_t, int> busy{};
  /// Service identifier: code with which it is refused each time.
  std::map<std::uint8_t, std::uint8_t> refused{};
  /// Addresses of cells that never take a value: they stay erased.
  std::set<std::uint32_t> bad_cells{};
  /// The check routine reports a correct flash, whatever it holds.
  bool blind_check = false;
};

/// The key that the simulated ECU expects for a seed, four bytes each.
[[nodiscard]] QUILLMARK_API Bytes SimulatedKey(const Bytes& seed);

/// Eight entries of readable text.
[[nodiscard]] QUILLMARK_API std::vector<HistoryEntry> SimulatedHistory();

/// The configuration of a simulated ECU. The defaults make one that can be flashed in plain CAN
/// form.
struct EcuOptions {
  /// How messages reach the ECU.
  TransportForm form = TransportForm::kPlainCan;
  /// Plain CAN: the identifier that the ECU listens to.
  std::uint32_t request_id = 0x632;
  /// Plain CAN: the identifier that it sends on.
  std::uint32_t reply_id = 0x73A;
  /// Gateway and K line form: the ECU's address.
  std::uint8_t address = 0x6E;
  /// Gateway: its channel, the `Exchange::receive` of a tester.
  std::uint32_t gateway_channel = 3;
  /// Gateway: its line, the `Exchange::send` of a tester.
  std::uint32_t gateway_line = 13;

  /// ISO 15765-2: the block size of the flow control that the ECU sends, 0 for no limit.
  std::uint8_t block_size = 1;
  /// Its separation time, coded as on the wire. It does not take a frame that comes earlier.
  std::uint8_t separation_time = 0;
  /// A K line ECU sleeps until it is woken by a break; false lets it accept 81 at any time, for a
  /// line that carries no break.
  bool needs_break = true;

  /// Between two erases a cell can be written once only, even with the value of an erased cell,
  /// like flash memory that protects its cells by a checksum. If false, a cell that holds the
  /// erased value can be written again.
  bool write_once = false;
  /// 24-bit addresses; areas do not overlap.
  std::vector<FlashAreaOptions> areas{FlashAreaOptions{}};
  /// Local identifier of the routine that compares the flash with what was downloaded.
  std::uint8_t check_routine = 0x02;

  /// Of the blocks that it takes and sends.
  BlockChecksum checksum = SumOf;

  /// The key that the ECU expects for a seed of 4 bytes.
  std::function<Bytes(const Bytes& seed)> key = SimulatedKey;
  /// Where the sequence of seeds begins.
  std::uint32_t first_seed = 0x1A2B3C4D;
  /// Number of wrong keys after which security access is locked for a while.
  int key_attempts = 3;

  /// The identification record, 24 bytes.
  Bytes identification = {'S', 'I', 'M', 'U', 'L', 'A', 'T', 'E', 'D', ' ', 'E', 'C',
                          'U', ' ', '0', '0', '1', ' ', 'R', 'E', 'V', ' ', 'A', ' '};
  /// Up to eight; a missing entry is refused with 0x31.
  std::vector<HistoryEntry> history = SimulatedHistory();

  /// When it answers.
  EcuTiming timing{};
  /// What is wrong with it; by default nothing.
  Misbehaviour misbehaviour{};
};

/// The settings with which a programmer reaches such an ECU and has its key and its checksum.
[[nodiscard]] QUILLMARK_API ProgrammerConfig ConfigFor(const EcuOptions& ecu);

/// A whole ECU, simulated: a transport and the diagnostic application behind it. It is
/// deterministic, has no clock and does no input or output; it is told what happens as a
/// SimulatedNode. It shares no code with the component, so that a mistake cannot cancel itself out.
///
/// Threads: used by one thread at a time.
class QUILLMARK_API SimulatedEcu : public SimulatedNode {
 public:
  /// Raises std::invalid_argument for inconsistent options.
  explicit SimulatedEcu(const EcuOptions& options = {});
  SimulatedEcu(const SimulatedEcu&) = delete;
  SimulatedEcu& operator=(const SimulatedEcu&) = delete;
  SimulatedEcu(SimulatedEcu&&) = delete;
  SimulatedEcu& operator=(SimulatedEcu&&) = delete;
  ~SimulatedEcu() override;

  /// What `count` cells of its flash hold. Raises std::out_of_range where there is no flash.
  [[nodiscard]] Bytes ReadMemory(std::uint32_t address, std::size_t count) const;
  /// How often its flash was erased or written.
  [[nodiscard]] std::uint64_t memory_changes() const;
  /// Blocks that were written into its flash.
  [[nodiscard]] std::uint32_t blocks_written() const;
  /// Its history, the newest entry first.
  [[nodiscard]] const std::deque<HistoryEntry>& history() const;
  /// Whether a tester has a session with it.
  [[nodiscard]] bool InSession(Duration now) const;

  /// Interrupts its power: what is in progress is lost, and the ECU does not react during the boot
  /// time.
  void Reset(Duration now);

  /// Refuses the next request with `code`, and does not execute it; nothing: accepts it again.
  void RefuseNext(std::optional<std::uint8_t> code);

  /// How a tester reaches the ECU.
  [[nodiscard]] const Exchange& exchange() const;

  [[nodiscard]] bool Hears(const Exchange& exchange) const override;
  void OnFrame(ByteView frame, Duration now) override;
  void OnBreak(Duration low, Duration now) override;
  [[nodiscard]] std::optional<Duration> NextDue() const override;
  Bytes TakeFrame(Duration now) override;

 private:
  class Parts;

  std::unique_ptr<Parts> parts_;
};

}  // namespace quillmark::host
