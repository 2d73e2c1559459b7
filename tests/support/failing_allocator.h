// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace quillmark::testing {

/// Lets one allocation fail, of the C++ heap or of the XML library, on this thread, as long as it
/// lives. Linking it replaces the program's operator new.
class FailingAllocation {
 public:
  /// The allocation `index` from now on, counted from 0, is the one that fails.
  explicit FailingAllocation(std::size_t index);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  FailingAllocation(FailingAllocation&&) = delete;
  FailingAllocation& operator=(FailingAllocation&&) = delete;
  ~FailingAllocation();

  /// Whether that allocation was asked for, and so failed.
  [[nodiscard]] bool HasFailed() const;
};

/// Puts the XML library's memory below the same control. Called once, before it allocates anything.
void WatchXmlLibrary();

}  // namespace quillmark::testing
