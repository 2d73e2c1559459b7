// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillmark::host {

/// Sets both directions of an open terminal to any speed, not only to those that POSIX names.
/// False, with `errno` set, if the driver refuses.
[[nodiscard]] bool SetBaudRate(int descriptor, std::uint32_t baud);

/// The speed of an open terminal; 0, with `errno` set, if it cannot be read.
[[nodiscard]] std::uint32_t BaudRateOf(int descriptor);

}  // namespace quillmark::host
