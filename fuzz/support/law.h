// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

namespace quillmark::fuzz {

/// Ends the process where a law does not hold, which is how a fuzzer reports a finding.
inline void Law(bool holds, std::string_view law) {
  if (!holds) {
    std::cerr << "broken law: " << law << '\n';
    std::abort();
  }
}

/// Every line end as a single line feed, which is what an XML processor makes of them.
inline std::string WithLineFeeds(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      result += text[i];
    } else if (i + 1 == text.size() || text[i + 1] != '\n') {
      result += '\n';
    }
  }
  return result;
}

}  // namespace quillmark::fuzz
