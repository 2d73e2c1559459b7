// SPDX-License-Identifier: MIT
#include "host/image/record_text.h"

#include <fmt/format.h>

#include "quillmark/host/image_file.h"

namespace quillmark::host {
namespace {

constexpr std::string_view kBlanks = " \t\r";

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') {
    return digit - '0';
  }
  if (digit >= 'A' && digit <= 'F') {
    return digit - 'A' + 10;
  }
  if (digit >= 'a' && digit <= 'f') {
    return digit - 'a' + 10;
  }
  return -1;
}

std::string_view WithoutTrailingBlanks(std::string_view text) {
  const std::size_t last = text.find_last_not_of(kBlanks);
  return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

}  // namespace

std::optional<RecordLine> RecordLines::Next() {
  while (!rest_.empty()) {
    const std::size_t end = rest_.find('\n');
    const std::string_view text = WithoutTrailingBlanks(rest_.substr(0, end));
    rest_ = end == std::string_view::npos ? std::string_view() : rest_.substr(end + 1);
    ++number_;
    if (!text.empty()) {
      last_line_ = number_;
      return RecordLine{text, number_};
    }
  }
  return std::nullopt;
}

bool ReadToEndRecord(RecordLines& lines, std::string_view file,
                     const std::function<bool(const RecordLine&)>& take) {
  std::size_t end_line = 0;
  while (const auto line = lines.Next()) {
    if (end_line != 0) {
      throw DamagedImage(file, line->number,
                         fmt::format("data after the end record in line {}", end_line));
    }
    if (take(*line)) {
      end_line = line->number;
    }
  }
  return end_line != 0;
}

void ParseRecordHex(std::string_view file, const RecordLine& line, std::size_t first_column,
                    std::vector<std::uint8_t>& bytes) {
  const std::string_view digits = line.text.substr(first_column - 1);
  bytes.clear();
  int high = 0;
  for (std::size_t at = 0; at < digits.size(); ++at) {
    const int value = DigitValue(digits[at]);
    if (value < 0) {
      throw DamagedImage(file, line.number,
                         fmt::format("expected a hexadecimal digit in column {}, found {}",
                                     first_column + at, Printable(digits[at])));
    }
    if (at % 2 == 0) {
      high = value;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(high * 16 + value));
    }
  }
  if (digits.size() % 2 != 0) {
    throw DamagedImage(
        file, line.number,
        fmt::format("expected an even number of hexadecimal digits, found {}", digits.size()));
  }
}

std::string Printable(char character) {
  const auto code = static_cast<unsigned char>(character);
  return code > 0x20 && code < 0x7F ? fmt::format("'{}'", character)
                                    : fmt::format("character {:02X}", code);
}

std::uint32_t BigEndian(std::span<const std::uint8_t> bytes, std::size_t first, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t at = first; at < first + count; ++at) {
    value = value << 8U | bytes[at];
  }
  return value;
}

}  // namespace quillmark::host
