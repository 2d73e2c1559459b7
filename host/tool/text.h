// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/bus/bus.h"

namespace quillmark::host {

/// "0.42 s", "12.3 s", "3:25 min".
[[nodiscard]] std::string TimeText(Duration time);

/// A span of a bus's time as a number for JSON.
[[nodiscard]] double SecondsOf(Duration time);

/// "812 B/s", "38.2 kB/s"; "-" for no time at all.
[[nodiscard]] std::string RateText(std::uint64_t bytes, Duration time);

/// Text without blanks, tabs and line ends around it.
[[nodiscard]] std::string_view WithoutBlanks(std::string_view text);

/// A record of the ECU without the blanks and zeros at its end.
[[nodiscard]] ByteView WithoutPadding(ByteView record);

/// Bytes as characters, without blanks and zeros at the end; as hexadecimal text where one of them
/// cannot be printed, "-" if there are none.
[[nodiscard]] std::string RecordText(ByteView record);

}  // namespace quillmark::host
