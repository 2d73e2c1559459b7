// SPDX-License-Identifier: MIT
#include "host/tool/number.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>
#include <system_error>

namespace quillmark::host {
namespace {

bool IsHexadecimal(std::string_view text) {
  return text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

}  // namespace

std::int64_t ParseNumber(const std::string& name, const std::string& text,
                         const NumberRange& range) {
  const bool hexadecimal = IsHexadecimal(text);
  const std::string_view digits = std::string_view(text).substr(hexadecimal ? 2 : 0);
  const char* const end = digits.data() + digits.size();
  std::int64_t value = 0;
  const auto [rest, error] = std::from_chars(digits.data(), end, value, hexadecimal ? 16 : 10);
  const bool is_number = error == std::errc() && rest == end && !(hexadecimal && digits[0] == '-');
  if (!is_number || value < range.lowest || value > range.highest) {
    throw CLI::ValidationError(name, fmt::format("expected a number from {} to {}, found \"{}\"",
                                                 range.lowest, range.highest, text));
  }
  return value;
}

void AddTime(CLI::App& app, const std::string& name, std::chrono::milliseconds& time,
             const NumberRange& range, const std::string& help) {
  app.add_option_function<std::string>(
         name,
         [&time, name, range](const std::string& text) {
           time = std::chrono::milliseconds(ParseNumber(name, text, range));
         },
         fmt::format("{}; default {}", help, time.count()))
      ->type_name("MS");
}

}  // namespace quillmark::host
