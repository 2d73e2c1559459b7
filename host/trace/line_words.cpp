// SPDX-License-Identifier: MIT
#include "host/trace/line_words.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace quillmark::host {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::uint64_t kLatestSecond = 100'000'000'000;

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

}  // namespace quillmark::host
