// SPDX-License-Identifier: MIT
#include "quillmark/host/text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quillmark::host {
namespace {

bool IsPrintable(std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; }

}  // namespace

std::string WithThousands(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) {
    at -= 3;
    digits.insert(at, ",");
  }
  return digits;
}

std::string CountText(std::uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", WithThousands(count), noun, count == 1 ? "" : "s");
}

std::string BytesText(std::uint64_t bytes) { return CountText(bytes, "byte"); }

double SecondsOf(Duration time) { return std::chrono::duration<double>(time).count(); }

std::string TimeText(Duration time) {
  const double seconds = SecondsOf(time);
  if (seconds < 9.995) {
    return fmt::format("{:.2f} s", seconds);
  }
  if (seconds < 99.95) {
    return fmt::format("{:.1f} s", seconds);
  }
  const auto whole = std::chrono::round<std::chrono::seconds>(time).count();
  return fmt::format("{}:{:02} min", whole / 60, whole % 60);
}

std::string RateText(std::uint64_t bytes, Duration time) {
  if (time <= Duration::zero()) {
    return "-";
  }
  const double rate = static_cast<double>(bytes) / SecondsOf(time);
  return rate < 1000 ? fmt::format("{:.0f} B/s", rate) : fmt::format("{:.1f} kB/s", rate / 1000);
}

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos
             ? std::string_view()
             : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

ByteView WithoutPadding(ByteView record) {
  const auto is_padding = [](std::uint8_t byte) { return byte == ' ' || byte == 0; };
  while (!record.empty() && is_padding(record.back())) {
    record = record.first(record.size() - 1);
  }
  return record;
}

std::string RecordText(ByteView record) {
  record = WithoutPadding(record);
  if (record.empty()) {
    return "-";
  }
  return std::all_of(record.begin(), record.end(), IsPrintable)
             ? std::string(record.begin(), record.end())
             : HexOf(record);
}

}  // namespace quillmark::host
