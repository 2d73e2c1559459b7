// SPDX-License-Identifier: MIT
#include "host/services/count_text.h"

#include <fmt/format.h>

namespace quillmark::host {

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

}  // namespace quillmark::host
