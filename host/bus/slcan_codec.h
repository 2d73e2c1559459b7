// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/bus/can_frame.h"

namespace quillmark::host {

/// The ASCII protocol that LAWICEL published for serial CAN adapters ("slcan"): a command or a
/// frame is a line that ends with a carriage return, an adapter refuses with a single BEL.
///
/// The codec is pure: it knows no port and no clock.
inline constexpr char kSlcanEndOfLine = '\r';
inline constexpr char kSlcanBell = '\a';

/// The line of a frame without its end: "t6328 0227810000000000" without the blank, "T" for an
/// extended identifier. Raises std::invalid_argument for more than 8 bytes and for an identifier
/// that does not fit.
[[nodiscard]] std::string SlcanLineOf(const CanFrame& frame);

/// The frame of such a line, which may end with an adapter's time stamp of four digits; nothing if
/// the line is not a data frame. Lower-case digits are accepted.
[[nodiscard]] std::optional<CanFrame> CanFrameOfSlcanLine(std::string_view line);

/// The command that chooses a bit rate, "S6" for 500000 bit/s; nothing if the protocol has none.
[[nodiscard]] std::optional<std::string> SlcanBitRateCommand(std::uint32_t bits_a_second);

/// The bit rate that such a command chooses; nothing for another line.
[[nodiscard]] std::optional<std::uint32_t> BitRateOfSlcanCommand(std::string_view line);

/// One message of an adapter.
struct SlcanEvent {
  enum class Kind : std::uint8_t {
    kFrame,     ///< a data frame was received from the bus: `frame`
    kAccepted,  ///< the adapter did what it was told ("", "z" or "Z")
    kRefused,   ///< it refused (BEL)
    kAnswer,    ///< an answer to a query, or a remote frame: `text`
    kJunk,      ///< anything else: `text`
  };

  Kind kind = Kind::kJunk;
  CanFrame frame{};
  std::string text{};

  friend bool operator==(const SlcanEvent&, const SlcanEvent&) = default;
};

/// Collects bytes until a carriage return or a BEL ends them. Of a line longer than any in the
/// protocol only the end is kept, so memory stays bounded whatever arrives.
class SlcanLines {
 public:
  struct Line {
    std::string text;
    /// '\r' or '\a'.
    char end = kSlcanEndOfLine;
  };

  /// Takes bytes in portions of any size, and returns the lines that they complete.
  [[nodiscard]] std::vector<Line> Take(ByteView bytes);

 private:
  std::string begun_;
};

/// Reads what an adapter sends. Noise before a frame, a lost carriage return and bytes that are not
/// text affect only the line that they are in; a frame after them in the same line is found.
class SlcanReceiver {
 public:
  /// Takes bytes in portions of any size, and returns what they complete.
  [[nodiscard]] std::vector<SlcanEvent> Take(ByteView bytes);

 private:
  SlcanLines lines_;
};

}  // namespace quillmark::host
