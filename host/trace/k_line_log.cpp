// SPDX-License-Identifier: MIT
#include "host/trace/k_line_log.h"

#include <string>

#include "host/trace/line_words.h"
#include "host/trace/trace_reader.h"

namespace quillmark::host {
namespace {

constexpr std::uint64_t kLongestBreak = 1'000'000;

[[noreturn]] void Refuse(std::string_view line) {
  throw DamagedTrace(
      "expected SECONDS > BYTES, SECONDS < BYTES or SECONDS break TIME ms, found \"" +
      std::string(line) + '"');
}

}  // namespace

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
