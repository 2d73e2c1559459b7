// SPDX-License-Identifier: MIT
#include <windows.h>

#include <atomic>
#include <cstring>

#include "host/tool/interrupt.h"

namespace quillmark::host {
namespace {

constexpr int kRequestThatEndsAtOnce = 3;

std::atomic<bool> interrupted = false;
std::atomic<int> requests_to_end = 0;
std::atomic<const char*> left_behind = nullptr;

/// Past the streams, which the main thread may be using.
void Say(const char* text) {
  DWORD written = 0;
  ::WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(std::strlen(text)), &written,
              nullptr);
}

/// Returns what a control handler returns to have the process ended.
BOOL EndAtOnce() {
  Say("\nquillmark: ended at once; ");
  const char* const text = left_behind;
  Say(text == nullptr ? "nothing is left behind" : text);
  Say("\n");
  return FALSE;
}

BOOL OnInterrupt() {
  interrupted = true;
  const int requests = ++requests_to_end;
  if (requests >= kRequestThatEndsAtOnce) {
    return EndAtOnce();
  }
  if (requests > 1) {
    Say("\nquillmark: still closing the session; once more ends at once\n");
  }
  return TRUE;
}

/// Called on a thread of its own. Windows ends the process when it returns from the end of the
/// window, of the user's session or of the system, and some seconds later at the latest: until then
/// the main thread closes the session, and ends the process itself.
BOOL WINAPI OnControl(DWORD event) {
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
    return OnInterrupt();
  }
  interrupted = true;
  Sleep(INFINITE);
  return TRUE;
}

}  // namespace

void CatchInterrupts() { SetConsoleCtrlHandler(&OnControl, TRUE); }

bool Interrupted() { return interrupted; }

/// Nobody suspends a program from a console of Windows.
std::chrono::steady_clock::time_point LastEndOfSuspension() { return {}; }

void SetLeftBehind(const char* text) { left_behind = text; }

/// The job of a child process ends with this one.
void AddGroupToKill(pid_t /*group*/) {}
void RemoveGroupToKill(pid_t /*group*/) {}

/// It does already.
void LetWritingFail() {}

}  // namespace quillmark::host
