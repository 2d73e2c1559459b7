// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/host/bus.h"
#include "quillmark/host/programmer.h"

namespace quillmark::campaign {

enum class FaultKind : std::uint8_t {
  kLostFrame,
  kDoubledFrame,
  kDelayedFrame,
  kOvertakenFrame,  ///< delayed by so little that only the next frame goes first
  kTruncatedFrame,
  kFlippedBits,    ///< one to three bits of one frame
  kWrongSequence,  ///< the number of a consecutive frame; otherwise the piece count or the length
  kNegativeResponse,  ///< instead of what the ECU sends
  kEndlessPending,    ///< endless "response pending" instead of what the ECU sends
  kSilence,           ///< from here on, nothing arrives any more
  kReset,             ///< of the ECU
  kBusError,          ///< the adapter is gone for a moment
  kBadCell,           ///< a memory cell that does not take its value
  kUnseenBadCell,     ///< the same, and the check routine does not see it
  kThrowingHandler,   ///< the host's own handler throws
  kThrowingKey,       ///< the host's key function throws
  kThrowingBackup,    ///< the host cannot keep what it was given before the erasure
  kCancel,
  kSeenBits,        ///< one to three bits of a K message that its checksum sees
  kHurtBlock,       ///< a bit of a block's data, so that the ECU refuses it with 77
  kWait,            ///< a flow control "wait" before the one that goes on
  kBusy,            ///< the ECU refuses a request with 21
  kStray,           ///< a frame to the tester that answers nothing
  kNoise,           ///< a byte of noise before a message to the tester
  kPause,           ///< 150 ms inside a message to the tester
  kEndlessReplies,  ///< what the ECU sends, again and again
  kHangingKey,      ///< the host's key function is not ready until the host gives it up
};

inline constexpr std::size_t kFaultKinds = 27;

/// "lost frame", …
[[nodiscard]] std::string_view NameOf(FaultKind kind);

/// What goes wrong once on a bench that is otherwise well. On a K line, which is one wire, no
/// message comes twice or overtakes another; a plain CAN frame has no checksum that a tester sees.
[[nodiscard]] const std::vector<FaultKind>& TransientKindsOf(host::TransportForm form);

/// Something that goes wrong once in a flash.
struct Fault {
  FaultKind kind = FaultKind::kLostFrame;
  /// When: at the n-th chance within a phase, or within the flash, counted from 0. A flash that has
  /// no such chance is one without this fault.
  std::optional<host::Phase> phase;
  std::uint32_t chance = 0;
  /// Which bits, how late, which response code; of a bad cell its address.
  std::uint32_t detail = 0;
};

/// For a person who reruns a seed.
[[nodiscard]] std::string Describe(const Fault& fault);

}  // namespace quillmark::campaign
