// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/bus/bus.h"

namespace quillmark::host {

/// A data frame in the log of a CAN bus.
struct LoggedFrame {
  Duration at{};
  std::string interface {};  ///< empty in the ASC format
  std::uint32_t identifier = 0;
  Bytes data{};
};

/// A line of a candump log. Nothing for a frame that is not a data frame of classic CAN. Raises
/// DamagedTrace for any other line.
[[nodiscard]] std::optional<LoggedFrame> ReadCandumpLine(std::string_view line);

/// A line of an ASC file; nothing also for a line that holds no frame.
[[nodiscard]] std::optional<LoggedFrame> ReadAscLine(std::string_view line);

}  // namespace quillmark::host
