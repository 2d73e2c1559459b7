// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "base/error_numbers.h"

namespace quillmark {

/// The messages of the component; the error number is 4000 plus the index. Index 2 is empty and
/// never raised (D21).
enum class Message : std::uint8_t {
  kNotReprogrammable = 0,
  kSeed = 1,
  kStartErase = 3,
  kErase = 4,
  kDownload = 5,
  kStartRoutine = 6,
  kUpload = 7,
  kWriteLogZone = 8,
  kSeparationTimeNegative = 9,
  kSeparationTimeTooLarge = 10,
  kBlockSizeNegative = 11,
  kBlockSizeTooLarge = 12,
};

/// Raises the message's number with its text, directly followed by `detail`; texts with a detail
/// end in a blank.
[[noreturn]] void RaiseMessage(Message message, std::string_view detail = {});

/// Raises `Message::kStartRoutine` for a routine: its "{0}" is the routine's number in hex.
[[noreturn]] void RaiseRoutineMessage(std::uint8_t routine, std::string_view detail);

}  // namespace quillmark
