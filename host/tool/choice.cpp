// SPDX-License-Identifier: MIT
#include "host/tool/choice.h"

#include <fmt/format.h>

#include <CLI/Error.hpp>

namespace quillmark::host {

void RefuseChoice(const std::string& name, const std::vector<std::string>& words,
                  const std::string& found) {
  throw CLI::ValidationError(
      name, fmt::format("expected {} or {}, found \"{}\"",
                        fmt::join(words.begin(), words.end() - 1, ", "), words.back(), found));
}

std::string ChoiceText(const std::vector<std::string>& words) {
  return fmt::format("{}", fmt::join(words, "|"));
}

}  // namespace quillmark::host
