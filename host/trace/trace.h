// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/bus/bus.h"

namespace quillmark::host {

enum class TraceEntryKind : std::uint8_t {
  kFrame,  ///< a frame passed
  kBreak,  ///< the tester held the K line low
};

/// Something that passed on a bus.
struct TraceEntry {
  TraceEntryKind kind = TraceEntryKind::kFrame;
  /// Since the trace began: when the frame was sent, or when the tester took it from the bus.
  Duration at{};
  Direction direction = Direction::kToEcu;
  Exchange exchange{};
  /// `kFrame`.
  Bytes data{};
  /// `kBreak`.
  std::chrono::milliseconds low{};

  friend bool operator==(const TraceEntry&, const TraceEntry&) = default;
};

/// The entries of one exchange, in the order of their times.
struct Trace {
  Exchange exchange{};
  std::vector<TraceEntry> entries{};
  /// Of a trace that was read: the line that ended it early, and what is wrong with it; empty for a
  /// whole trace.
  std::string damage{};
};

/// Receives entries one by one.
using TraceSink = std::function<void(const TraceEntry&)>;

/// The format of a trace.
enum class TraceFormat : std::uint8_t {
  kCandump,  ///< the log of can-utils' candump
  kAsc,      ///< Vector ASC
  kKLine,    ///< readable lines of a K line, a format of this host
};

/// The first line of a K line trace.
inline constexpr std::string_view kKLineTraceTitle = "quillmark K line trace 1";

}  // namespace quillmark::host
