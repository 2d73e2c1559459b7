// SPDX-License-Identifier: MIT
#include "host/trace/log_lines.h"

#include <algorithm>
#include <charconv>

#include "quillmark/host/trace.h"

namespace quillmark::host {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::uint64_t kLatestSecond = 100'000'000'000;

constexpr std::size_t kCanFrameSize = 8;
constexpr std::uint32_t kLastExtendedIdentifier = 0x1FFFFFFF;

[[noreturn]] void Refuse(std::string_view expected, std::string_view line) {
  throw DamagedTrace("expected " + std::string(expected) + ", found \"" + std::string(line) + '"');
}

constexpr std::uint64_t kLongestBreak = 1'000'000;

[[noreturn]] void Refuse(std::string_view line) {
  throw DamagedTrace(
      "expected SECONDS > BYTES, SECONDS < BYTES or SECONDS break TIME ms, found \"" +
      std::string(line) + '"');
}

}  // namespace

std::vector<std::string_view> WordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  for (std::size_t start = line.find_first_not_of(kBlanks); start != std::string_view::npos;) {
    const std::size_t end = std::min(line.find_first_of(kBlanks, start), line.size());
    words.push_back(line.substr(start, end - start));
    start = line.find_first_not_of(kBlanks, end);
  }
  return words;
}

std::optional<std::uint64_t> NumberOf(std::string_view text, int base) {
  std::uint64_t number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, number, base);
  return error == std::errc{} && end == last ? std::optional(number) : std::nullopt;
}

std::optional<Duration> DurationOfSeconds(std::string_view text) {
  constexpr std::size_t kDigits = 6;
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos || text.size() - point - 1 > kDigits) {
    return std::nullopt;
  }
  std::string fraction(text.substr(point + 1));
  fraction.resize(kDigits, '0');
  const auto seconds = NumberOf(text.substr(0, point));
  const auto microseconds = NumberOf(fraction);
  if (!seconds || !microseconds || *seconds > kLatestSecond) {
    return std::nullopt;
  }
  return std::chrono::seconds(*seconds) + Duration(*microseconds);
}

std::optional<Bytes> BytesOfWords(std::vector<std::string_view>::const_iterator first,
                                  std::vector<std::string_view>::const_iterator last) {
  Bytes bytes;
  for (; first != last; ++first) {
    const std::optional<Bytes> byte = BytesOfHex(*first);
    if (!byte || byte->size() != 1) {
      return std::nullopt;
    }
    bytes.push_back(byte->front());
  }
  return bytes;
}

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

TraceEntry ReadKLineLine(std::string_view line) {
  const std::vector<std::string_view> words = WordsOf(line);
  const auto at = words.size() < 3 ? std::nullopt : DurationOfSeconds(words[0]);
  if (!at) {
    Refuse(line);
  }
  TraceEntry entry{.at = *at, .exchange = {.form = TransportForm::kKLine}};
  if (words[1] == "break") {
    const auto low = NumberOf(words[2]);
    if (!low || *low > kLongestBreak) {
      Refuse(line);
    }
    entry.kind = TraceEntryKind::kBreak;
    entry.low = std::chrono::milliseconds(*low);
    return entry;
  }
  std::optional<Bytes> data = BytesOfWords(words.begin() + 2, words.end());
  if (!data || (words[1] != ">" && words[1] != "<")) {
    Refuse(line);
  }
  entry.direction = words[1] == ">" ? Direction::kToEcu : Direction::kToTester;
  entry.data = std::move(*data);
  return entry;
}

}  // namespace quillmark::host
