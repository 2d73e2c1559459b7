// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/hex.h"

namespace quillmark::portable {

/// Number of bytes equal to `fill` at the beginning of `bytes`. Compares eight bytes at a time.
[[nodiscard]] std::size_t FillRun(ByteView bytes, std::uint8_t fill);

}  // namespace quillmark::portable
