// SPDX-License-Identifier: MIT
#include <windows.h>

#include <atomic>
#include <cstring>
#include <future>
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

/// Hears of the end of the user's session: Windows tells a process that has loaded the libraries
/// for windows of it only through a window.
class HiddenWindow {
 public:
  HiddenWindow() : thread_([this] { Serve(); }) {}
  HiddenWindow(const HiddenWindow&) = delete;
  HiddenWindow& operator=(const HiddenWindow&) = delete;
  HiddenWindow(HiddenWindow&&) = delete;
  HiddenWindow& operator=(HiddenWindow&&) = delete;
  /// Under Wine, a process that ends while one of its threads makes a window can end with another
  /// status than its own.
  ~HiddenWindow() {
    if (session_ends) {
      thread_.detach();
      return;
    }
    PostThreadMessageW(thread_with_queue_.get_future().get(), WM_QUIT, 0, 0);
    thread_.join();
  }

 private:
  static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_ENDSESSION && first != FALSE) {
      session_ends = true;
      AwaitEnd();
    }
    return DefWindowProcW(window, message, first, second);
  }

  void Serve() {
    WNDCLASSW type{};
    type.lpfnWndProc = &OnMessage;
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = L"quillmark";
    RegisterClassW(&type);
    CreateWindowW(type.lpszClassName, L"quillmark", 0, 0, 0, 0, 0, nullptr, nullptr, type.hInstance,
                  nullptr);
    thread_with_queue_.set_value(GetCurrentThreadId());
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
      DispatchMessageW(&message);
    }
  }

  static inline std::atomic<bool> session_ends = false;

  std::promise<DWORD> thread_with_queue_;
  std::thread thread_;
};

}  // namespace

void CatchInterrupts() {
  SetConsoleCtrlHandler(&OnControl, TRUE);
  static const HiddenWindow window;
}

bool Interrupted() { return interrupted; }

/// Nobody suspends a program from a console of Windows.
std::chrono::steady_clock::time_point LastEndOfSuspension() { return {}; }

void SetLeftBehind(const char* text) { left_behind = text; }

/// The job of a child process ends with this one.
void AddGroupToKill(pid_t /*group*/) {}
void RemoveGroupToKill(pid_t /*group*/) {}

StayAwake::StayAwake() : before_(SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED)) {}

StayAwake::~StayAwake() { SetThreadExecutionState(ES_CONTINUOUS | before_); }

/// It does already.
void LetWritingFail() {}

}  // namespace quillmark::host
