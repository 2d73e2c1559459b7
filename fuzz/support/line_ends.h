// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace quillmark::fuzz {

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
