// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <chrono>

#include "base/com/status.h"

namespace quillmark::com {

/// This thread's membership in an apartment: COINIT_APARTMENTTHREADED or COINIT_MULTITHREADED.
/// Every COM reference of the thread must be released before it ends.
class Apartment {
 public:
  /// Raises the failure if the apartment cannot be entered.
  explicit Apartment(COINIT kind) { Require(CoInitializeEx(nullptr, kind)); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  Apartment(Apartment&&) = delete;
  Apartment& operator=(Apartment&&) = delete;
  ~Apartment() { CoUninitialize(); }
};

/// Waits, and meanwhile dispatches the messages of this thread: calls from other apartments arrive
/// as messages.
void PumpFor(std::chrono::milliseconds time);

}  // namespace quillmark::com
