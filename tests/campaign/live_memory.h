// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace quillmark::campaign {

/// What the process holds. Linking this replaces its operator new.
struct Holdings {
  std::size_t blocks = 0;  ///< of memory, of the C++ heap and of the XML library
  std::size_t bytes = 0;
  std::size_t threads = 0;

  friend bool operator==(const Holdings&, const Holdings&) = default;
};

/// Puts the XML library's memory under the same count. Called once, before it allocates anything.
void CountXmlLibrary();

[[nodiscard]] Holdings CurrentHoldings();

/// Waits until the process holds no more than `expected`, which takes a moment where a thread has
/// just ended, and returns what it then holds; after five seconds what it still holds.
[[nodiscard]] Holdings HoldingsOnceDownTo(const Holdings& expected);

}  // namespace quillmark::campaign
