// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/host/bus.h"
#include "quillmark/host/trace.h"

/// The lines of the logs that a trace is read from, and their words.
namespace quillmark::host {

/// The first line of a K line trace.
inline constexpr std::string_view kKLineTraceTitle = "quillmark K line trace 1";

/// Begins a line of an ASC file whose frames are those of a gateway.
inline constexpr std::string_view kAscGatewayComment = "// quillmark gateway trace 1";

/// The words of a line, separated by blanks.
[[nodiscard]] std::vector<std::string_view> WordsOf(std::string_view line);

/// A whole number; nothing if `text` is not one.
[[nodiscard]] std::optional<std::uint64_t> NumberOf(std::string_view text, int base = 10);

/// Seconds with up to six digits after the point; nothing if `text` is no such number.
[[nodiscard]] std::optional<Duration> DurationOfSeconds(std::string_view text);

/// The bytes of words of two hexadecimal digits each; nothing if one of them is not.
[[nodiscard]] std::optional<Bytes> BytesOfWords(std::vector<std::string_view>::const_iterator first,
                                                std::vector<std::string_view>::const_iterator last);

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

/// A line of a K line trace after its title. Raises DamagedTrace for any other line.
[[nodiscard]] TraceEntry ReadKLineLine(std::string_view line);

}  // namespace quillmark::host
