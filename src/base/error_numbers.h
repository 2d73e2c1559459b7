// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "quillmark/error.h"

/// The numbers of the errors that only this library raises, beside those of quillmark/error.h. What
/// each means, and its texts, is in docs/errors.md.
namespace quillmark::error_number {

inline constexpr std::int32_t kArrayIsFixed = 10;
inline constexpr std::int32_t kCannotCreateObject = 429;
inline constexpr std::int32_t kUnknownMember = 438;
inline constexpr std::int32_t kInvalidRequest = 1000;
inline constexpr std::int32_t kNoReply = 2000;
inline constexpr std::int32_t kIllegalReply = 2003;
inline constexpr std::int32_t kIllegalNegativeReply = 2041;
inline constexpr std::int32_t kFirstMessage = 4000;       ///< of the message table
inline constexpr std::int32_t kBadPattern = -2147467259;  ///< a path that cannot be evaluated

}  // namespace quillmark::error_number
