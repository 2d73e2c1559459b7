// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>

#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// What the ECU says about itself: its identification (local identifier 80) and its history (F0 to
/// FF), the newest entry first.
class Records {
 public:
  static constexpr std::size_t kRecordSize = 24;
  static constexpr std::size_t kMostEntries = 8;
  static constexpr std::size_t kLogRecordSize = 2 * kRecordSize;

  /// Raises std::invalid_argument for records of another size and for too many entries.
  explicit Records(const EcuOptions& options);

  /// The record of a local identifier. Raises Refusal if there is none.
  [[nodiscard]] const Bytes& Read(std::uint8_t identifier) const;

  /// Makes a log record of 48 bytes, history and reprogramming record, the first entry; an entry
  /// beyond the eighth is removed.
  void Log(ByteView record);

  [[nodiscard]] const std::deque<HistoryEntry>& history() const { return history_; }

 private:
  Bytes identification_;
  std::deque<HistoryEntry> history_;
};

}  // namespace quillmark::host
