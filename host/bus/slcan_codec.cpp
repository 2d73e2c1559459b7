// SPDX-License-Identifier: MIT
#include "host/bus/slcan_codec.h"

#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace quillmark::host {
namespace {

constexpr std::size_t kStandardDigits = 3;
constexpr std::size_t kExtendedDigits = 8;
constexpr std::size_t kTimeStampDigits = 4;
/// The longest line is an extended frame with 8 bytes and a time stamp, 30 characters.
constexpr std::size_t kLongestKept = 64;

/// Indexed by the digit of the command.
constexpr std::array<std::uint32_t, 9> kBitRates{10'000,  20'000,  50'000,  100'000,  125'000,
                                                 250'000, 500'000, 800'000, 1'000'000};

std::string HexNumber(std::uint32_t number, std::size_t digits) {
  const Bytes bytes{static_cast<std::uint8_t>(number >> 24U),
                    static_cast<std::uint8_t>(number >> 16U),
                    static_cast<std::uint8_t>(number >> 8U), static_cast<std::uint8_t>(number)};
  const std::string text = HexOf(bytes);
  return text.substr(text.size() - digits);
}

std::optional<std::uint32_t> NumberOfHex(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (text.empty() || error != std::errc{} || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

bool IsDataFrameLetter(char letter) { return letter == 't' || letter == 'T'; }

bool IsAnswer(std::string_view line) {
  constexpr std::string_view kFirstLetters = "VvNFrR";
  return !line.empty() && kFirstLetters.find(line.front()) != std::string_view::npos;
}

bool IsAccepted(std::string_view line) { return line.empty() || line == "z" || line == "Z"; }

void AppendEventsOf(std::string_view line, std::vector<SlcanEvent>& events) {
  using Kind = SlcanEvent::Kind;
  if (IsAccepted(line)) {
    events.push_back({.kind = Kind::kAccepted});
    return;
  }
  // The letter of a frame is not a hexadecimal digit, so only the last one can begin a whole frame.
  const std::size_t start = line.find_last_of("tT");
  if (start != std::string_view::npos) {
    if (auto frame = CanFrameOfSlcanLine(line.substr(start))) {
      if (start > 0) {
        events.push_back({.kind = Kind::kJunk, .text = std::string(line.substr(0, start))});
      }
      events.push_back({.kind = Kind::kFrame, .frame = std::move(*frame)});
      return;
    }
  }
  events.push_back(
      {.kind = IsAnswer(line) ? Kind::kAnswer : Kind::kJunk, .text = std::string(line)});
}

}  // namespace

std::string SlcanLineOf(const CanFrame& frame) {
  const std::uint32_t last =
      frame.extended ? CanFrame::kLastExtendedIdentifier : CanFrame::kLastStandardIdentifier;
  if (frame.identifier > last || frame.data.size() > CanFrame::kMostBytes) {
    throw std::invalid_argument("no CAN frame has such an identifier or so many bytes");
  }
  std::string line(1, frame.extended ? 'T' : 't');
  line += HexNumber(frame.identifier, frame.extended ? kExtendedDigits : kStandardDigits);
  line += static_cast<char>('0' + frame.data.size());
  line += HexOf(frame.data);
  return line;
}

std::optional<CanFrame> CanFrameOfSlcanLine(std::string_view line) {
  if (line.empty() || !IsDataFrameLetter(line[0])) {
    return std::nullopt;
  }
  const bool extended = line[0] == 'T';
  const std::size_t digits = extended ? kExtendedDigits : kStandardDigits;
  if (line.size() < 1 + digits + 1) {
    return std::nullopt;
  }
  const auto identifier = NumberOfHex(line.substr(1, digits));
  const char count = line[1 + digits];
  if (!identifier || count < '0' || count > '8' ||
      *identifier >
          (extended ? CanFrame::kLastExtendedIdentifier : CanFrame::kLastStandardIdentifier)) {
    return std::nullopt;
  }
  const auto size = static_cast<std::size_t>(count - '0');
  const std::string_view rest = line.substr(1 + digits + 1);
  if (rest.size() != 2 * size && rest.size() != 2 * size + kTimeStampDigits) {
    return std::nullopt;
  }
  const bool is_hex = BytesOfHex(rest).has_value();
  if (!is_hex) {
    return std::nullopt;
  }
  return CanFrame{*identifier, extended, *BytesOfHex(rest.substr(0, 2 * size))};
}

std::optional<std::string> SlcanBitRateCommand(std::uint32_t bits_a_second) {
  for (std::size_t digit = 0; digit < kBitRates.size(); ++digit) {
    if (kBitRates[digit] == bits_a_second) {
      return "S" + std::to_string(digit);
    }
  }
  return std::nullopt;
}

std::optional<std::uint32_t> BitRateOfSlcanCommand(std::string_view line) {
  if (line.size() != 2 || line[0] != 'S' || line[1] < '0' || line[1] > '8') {
    return std::nullopt;
  }
  return kBitRates[static_cast<std::size_t>(line[1] - '0')];
}

std::vector<SlcanLines::Line> SlcanLines::Take(ByteView bytes) {
  std::vector<Line> lines;
  for (const std::uint8_t byte : bytes) {
    const char character = static_cast<char>(byte);
    if (character == kSlcanEndOfLine || character == kSlcanBell) {
      lines.push_back({std::exchange(begun_, {}), character});
      continue;
    }
    if (begun_.size() == kLongestKept) {
      begun_.erase(0, 1);
    }
    begun_ += character;
  }
  return lines;
}

std::vector<SlcanEvent> SlcanReceiver::Take(ByteView bytes) {
  std::vector<SlcanEvent> events;
  for (const SlcanLines::Line& line : lines_.Take(bytes)) {
    const bool is_refusal = line.end == kSlcanBell;
    if (!is_refusal || !line.text.empty()) {
      AppendEventsOf(line.text, events);
    }
    if (is_refusal) {
      events.push_back({.kind = SlcanEvent::Kind::kRefused});
    }
  }
  return events;
}

}  // namespace quillmark::host
