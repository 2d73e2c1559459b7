// SPDX-License-Identifier: MIT
#include "host/trace/can_log.h"

#include <algorithm>
#include <vector>

#include "host/trace/line_words.h"
#include "host/trace/trace_reader.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kCanFrameSize = 8;
constexpr std::uint32_t kLastExtendedIdentifier = 0x1FFFFFFF;

[[noreturn]] void Refuse(std::string_view expected, std::string_view line) {
  throw DamagedTrace("expected " + std::string(expected) + ", found \"" + std::string(line) + '"');
}

}  // namespace

std::optional<LoggedFrame> ReadCandumpLine(std::string_view line) {
  constexpr std::string_view kExpected = "(SECONDS) INTERFACE IDENTIFIER#DATA";
  // Some versions of can-utils write the direction after the frame.
  const std::vector<std::string_view> words = WordsOf(line);
  if (words.size() < 3 || words[0].size() < 3 || words[0].front() != '(' ||
      words[0].back() != ')') {
    Refuse(kExpected, line);
  }
  const auto at = DurationOfSeconds(words[0].substr(1, words[0].size() - 2));
  const std::size_t mark = words[2].find('#');
  const auto identifier = NumberOf(words[2].substr(0, mark), 16);
  if (!at || mark == std::string_view::npos || !identifier) {
    Refuse(kExpected, line);
  }
  const std::string_view text = words[2].substr(mark + 1);
  const bool is_other_frame =
      text.starts_with('#') || text.starts_with('R') || *identifier > kLastExtendedIdentifier;
  if (is_other_frame) {
    return std::nullopt;
  }
  std::optional<Bytes> data = BytesOfHex(text);
  if (!data || data->size() > kCanFrameSize) {
    Refuse(kExpected, line);
  }
  return LoggedFrame{*at, std::string(words[1]), static_cast<std::uint32_t>(*identifier),
                     std::move(*data)};
}

std::optional<LoggedFrame> ReadAscLine(std::string_view line) {
  // Time, channel, identifier, direction, "d", length, data; what follows is statistics.
  constexpr std::size_t kBeforeData = 6;
  constexpr std::string_view kExpected = "a frame in hexadecimal digits";
  const std::vector<std::string_view> words = WordsOf(line);
  if (words.size() < kBeforeData || words[4] != "d" || !DurationOfSeconds(words[0])) {
    return std::nullopt;
  }
  std::string_view name = words[2];
  if (name.ends_with('x')) {
    name.remove_suffix(1);
  }
  const auto identifier = NumberOf(name, 16);
  const auto size = NumberOf(words[5], 16);
  if (!identifier || *identifier > kLastExtendedIdentifier || !size || *size > kCanFrameSize ||
      words.size() < kBeforeData + *size) {
    Refuse(kExpected, line);
  }
  const auto first = words.begin() + kBeforeData;
  std::optional<Bytes> data = BytesOfWords(first, first + static_cast<std::ptrdiff_t>(*size));
  if (!data) {
    Refuse(kExpected, line);
  }
  return LoggedFrame{*DurationOfSeconds(words[0]), "", static_cast<std::uint32_t>(*identifier),
                     std::move(*data)};
}

}  // namespace quillmark::host
