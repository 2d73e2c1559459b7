// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include "base/com/status.h"

namespace quillmark::com {

/// This thread's membership in an apartment: COINIT_APARTMENTTHREADED or COINIT_MULTITHREADED.
/// Everything of COM that the thread holds has to end before it.
class Apartment {
 public:
  /// Raises what the apartment cannot be entered with.
  explicit Apartment(COINIT kind) { Require(CoInitializeEx(nullptr, kind)); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  Apartment(Apartment&&) = delete;
  Apartment& operator=(Apartment&&) = delete;
  ~Apartment() { CoUninitialize(); }
};

}  // namespace quillmark::com
