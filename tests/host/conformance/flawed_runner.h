// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "quillmark/host/conformance.h"

namespace quillmark::host {

/// A mistake that a runner can make.
enum class Flaw : std::uint8_t {
  kNone,
  kRunsAgain,
  kKeepsTheSessionAlive,
  kAcknowledgesTwice,
  kCutsIdentifiers,
  kSwapsIdentifiers,
  kKnowsOneLine,
  kTakesLateAnswers,
  kIgnoresLateRefusals,
  kTakesLatePendingForARefusal,
  kGivesUpEarly,
  kGivesUpLate,
  kCountsP2FromTheRequest,
  kTakesPendingForARefusal,
  kKnowsNoP2Star,
  kLimitsNoPendings,
  kLimitsNoPendingTime,
  kFailsAtWait,
  kLimitsNoWaits,
  kWaitsOnAtOverflow,
  kKeepsNoSeparationTime,
  kTakesMicrosecondsForMilliseconds,
  kSkipsWaits,
  kBreaksTooLong,
  kFailsAtForeignFrames,
  kFailsAtRepeatedFrames,
  kWaitsLongerForForeignFrames,
  kChecksNothing,
  kTakesFramesOutOfSequence,
  kSendsIntoNoise,
  kNeverStops,
  kStopsWithinARequest,
  kNeverRepeats,
  kRepeatsTooOften,
  kAwaitsOneAnswer,
  kAwaitsNoSilence,
  kLeavesOutTheLastFrame,
  kWritesAnEmptyFrame,
  kWritesLowerCase,
  kGoesOnBehindARefusal,
};

/// A plain runner, written for the tests of the kit alone, that keeps every rule but makes one
/// mistake.
[[nodiscard]] RunnerUnderTest RunnerWith(Flaw flaw);

}  // namespace quillmark::host
