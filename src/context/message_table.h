// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

namespace quillmark {

/// Raises one of the numbers from 4000 with its text, directly followed by `detail`; texts with a
/// detail end in a blank.
[[noreturn]] void RaiseMessage(std::int32_t number, std::string_view detail = {});

/// Raises `kRoutineFailed` for a routine: the "{0}" of its text is the routine's number in hex.
[[noreturn]] void RaiseRoutineMessage(std::uint8_t routine, std::string_view detail);

}  // namespace quillmark
