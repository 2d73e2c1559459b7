// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace quillmark::host::testing {

/// Bytes 0 to 250, over and over.
inline std::string Pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t at = 0; at < size; ++at) {
    bytes[at] = static_cast<char>(at % 251);
  }
  return bytes;
}

/// Two bytes at 0x1000 and two at 0x8000.
inline constexpr const char* kTwoSegments =
    "S0030000FC\n"
    "S10510000102E7\n"
    "S1058000030473\n"
    "S5030002FA\n"
    "S9030000FC\n";

}  // namespace quillmark::host::testing
