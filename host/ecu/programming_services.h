// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "host/ecu/flash_memory.h"
#include "host/ecu/records.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// The services that an unlocked ECU offers on its memory. Each takes a whole request of its
/// service, which has arrived at `now`, and returns the positive response, or raises Refusal.
class ProgrammingServices {
 public:
  /// `records` must outlive the services.
  ProgrammingServices(const EcuOptions& options, Records& records);

  /// 31: erase (routine 81, started with `RL F0 5A`) and check routine, each with its status.
  [[nodiscard]] Bytes OnRoutine(ByteView request, Duration now);
  /// 34: a block for the flash, or the log record for area 83.
  [[nodiscard]] Bytes OnDownload(ByteView request, Duration now);
  /// 35: reads the flash.
  [[nodiscard]] Bytes OnUpload(ByteView request, Duration now) const;

  /// Ends what is running, as the end of a session does.
  void StopRoutines();
  /// Clears routines and the record of what was downloaded; the flash memory stays.
  void Reset();

  [[nodiscard]] const FlashMemory& flash() const { return flash_; }
  /// Blocks that were written into the flash.
  [[nodiscard]] std::uint32_t blocks() const { return blocks_; }

 private:
  struct Range {
    std::uint32_t start;
    std::size_t count;
  };
  /// A routine that was started, and how it ends.
  struct Routine {
    Duration ends_at;
    bool failed;
  };

  [[nodiscard]] Bytes StartErase(ByteView request, Duration now);
  [[nodiscard]] Bytes StartCheck(Duration now);
  [[nodiscard]] static Bytes Poll(std::uint8_t identifier, const std::optional<Routine>& routine,
                                  Duration now);
  void WriteBlock(std::uint8_t area, std::uint32_t address, ByteView data, Duration now);
  void WriteLogRecord(std::uint32_t address, ByteView data);
  void RequireIdle(Duration now) const;
  [[nodiscard]] bool TakesAValue(std::uint32_t address, std::size_t count) const;
  [[nodiscard]] bool FlashHoldsWhatWasDownloaded() const;

  std::uint8_t check_identifier_;
  Duration erase_time_;
  Duration check_time_;
  bool blind_check_;
  bool write_once_;
  std::optional<std::uint32_t> bad_checksum_at_block_;
  BlockChecksum checksum_;
  Records& records_;
  FlashMemory flash_;
  /// The record of what was downloaded: what the flash should hold, and where.
  FlashMemory downloaded_;
  std::vector<Range> ranges_;
  /// What was written since it was erased: start and end of each block.
  std::map<std::uint32_t, std::uint32_t> written_;
  std::uint32_t blocks_ = 0;
  std::uint32_t blocks_received_ = 0;
  std::optional<Routine> erase_;
  std::optional<Routine> check_;
};

}  // namespace quillmark::host
