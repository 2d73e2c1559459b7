// SPDX-License-Identifier: MIT
#include <windows.h>

#include <atomic>
#include <cstring>
#include <thread>

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

/// Without the ends of libraries, which might wait for what the main thread holds.
void EndAtOnce() {
  Say("\nquillmark: ended at once; ");
  const char* const text = left_behind;
  Say(text == nullptr ? "nothing is left behind" : text);
  Say("\n");
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(STATUS_CONTROL_C_EXIT));
}

void OnInterrupt() {
  interrupted = true;
  const int requests = ++requests_to_end;
  if (requests >= kRequestThatEndsAtOnce) {
    EndAtOnce();
  } else if (requests > 1) {
    Say("\nquillmark: still closing the session; once more ends at once\n");
  }
}

/// Windows ends the process when this returns, and some seconds later at the latest: until then the
/// main thread closes the session, and ends the process itself.
[[noreturn]] void AwaitEnd() {
  interrupted = true;
  for (;;) {
    Sleep(INFINITE);
  }
}

/// Called on a thread of its own.
BOOL WINAPI OnControl(DWORD event) {
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
    OnInterrupt();
    return TRUE;
  }
  AwaitEnd();
}

LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_ENDSESSION && first != FALSE) {
    AwaitEnd();
  }
  return DefWindowProcW(window, message, first, second);
}

/// Windows tells a process that has loaded the libraries for windows of the end of the user's
/// session only through a window.
void ServeHiddenWindow() {
  WNDCLASSW type{};
  type.lpfnWndProc = &OnMessage;
  type.hInstance = GetModuleHandleW(nullptr);
  type.lpszClassName = L"quillmark";
  RegisterClassW(&type);
  CreateWindowW(type.lpszClassName, L"quillmark", 0, 0, 0, 0, 0, nullptr, nullptr, type.hInstance,
                nullptr);
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchMessageW(&message);
  }
}

}  // namespace

void CatchInterrupts() {
  SetConsoleCtrlHandler(&OnControl, TRUE);
  std::thread(&ServeHiddenWindow).detach();
}

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
