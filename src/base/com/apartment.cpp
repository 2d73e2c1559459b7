// SPDX-License-Identifier: MIT
#include "base/com/apartment.h"

#include <windows.h>

#include <algorithm>

namespace quillmark::com {
namespace {

void DispatchMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

}  // namespace

void PumpFor(std::chrono::milliseconds time) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + time;
  for (;;) {
    DispatchMessages();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) {
      return;
    }
    MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(left), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
  }
}

}  // namespace quillmark::com
