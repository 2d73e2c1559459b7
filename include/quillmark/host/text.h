// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "quillmark/export.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {

/// "52,144".
[[nodiscard]] QUILLMARK_API std::string WithThousands(std::uint64_t number);

/// "3 segments", "1 segment".
[[nodiscard]] QUILLMARK_API std::string CountText(std::uint64_t count, std::string_view noun);

/// "52,144 bytes", "1 byte".
[[nodiscard]] QUILLMARK_API std::string BytesText(std::uint64_t bytes);

/// "0.42 s", "12.3 s", "3:25 min".
[[nodiscard]] QUILLMARK_API std::string TimeText(Duration time);

/// A span of a bus's time as a number for JSON.
[[nodiscard]] QUILLMARK_API double SecondsOf(Duration time);

/// "812 B/s", "38.2 kB/s"; "-" for no time at all.
[[nodiscard]] QUILLMARK_API std::string RateText(std::uint64_t bytes, Duration time);

/// Text without blanks, tabs and line ends around it.
[[nodiscard]] QUILLMARK_API std::string_view WithoutBlanks(std::string_view text);

/// A record of the ECU without the blanks and zeros at its end.
[[nodiscard]] QUILLMARK_API ByteView WithoutPadding(ByteView record);

/// Bytes as characters, without blanks and zeros at the end; as hexadecimal text where one of them
/// cannot be printed, "-" if there are none.
[[nodiscard]] QUILLMARK_API std::string RecordText(ByteView record);

}  // namespace quillmark::host
