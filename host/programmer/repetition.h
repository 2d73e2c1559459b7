// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "quillmark/host/programmer.h"
#include "quillmark/host/runner.h"

namespace quillmark::host {

/// The kinds of requests that differ in how they may be repeated.
enum class RequestKind : std::uint8_t {
  kOpen,       ///< 10, 81: opening a session
  kRead,       ///< 21, 35: a record, a block of memory
  kStay,       ///< 3E: tester present
  kSeed,       ///< 27 81
  kKey,        ///< 27 82
  kStart,      ///< 31: start of the erase or of the check routine
  kRestart,    ///< the same again, because the first start may not have been received
  kStatus,     ///< 31: asks for its status
  kBlock,      ///< 34: a block for the memory
  kLogRecord,  ///< 34 83: the record for the log zone
  kClose,      ///< 10 81, 82
  kOther,
};

/// The kind of a request by its service bytes, which may be cut off behind the third; a start is
/// never taken for a restart.
[[nodiscard]] RequestKind KindOf(ByteView request);

/// What to do about a try that did not bring the answer.
enum class Remedy : std::uint8_t {
  kNone,          ///< it counts as it ended
  kRepeat,        ///< the same request again
  kAskAgainSoon,  ///< the same, after a moment: the ECU is busy
  kReadBack,      ///< read what the request was to write: it is there, or is sent again
  kPoll,          ///< ask whether the routine runs: it was started, or is started again
  kNewSeed,       ///< ask for the seed again: the ECU is open by now, or gets one more key
  kAccept,        ///< it counts as done
  kAdapt,         ///< build it for the flow control that the ECU asks for
};

/// What is to be done after a try that ended at `now`, where the request was repeated `repetitions`
/// times already for another reason than a busy ECU. Nothing for a request that was answered, was
/// refused for good, or was repeated often enough.
[[nodiscard]] Remedy RemedyFor(RequestKind kind, const RequestTry& request_try, int repetitions,
                               const RepetitionLimits& limits, Duration now);

}  // namespace quillmark::host
