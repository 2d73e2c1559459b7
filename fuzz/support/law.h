// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace quillmark::fuzz {

/// Ends the process where a law does not hold, which is how a fuzzer reports a finding.
inline void Law(bool holds, std::string_view law) {
  if (!holds) {
    std::cerr << "broken law: " << law << '\n';
    std::abort();
  }
}

}  // namespace quillmark::fuzz
