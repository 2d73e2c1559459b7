// SPDX-License-Identifier: MIT
// The ends that Windows announces to a program at a console, as it announces them. Each test runs
// in a process of its own.
#include "host/tool/interrupt.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

/// Calls the handlers for an event on a thread of its own, as the system does. Returns the thread.
HANDLE Announce(DWORD event) {
  void* const routine =
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine"));
  return CreateThread(nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(routine),
                      reinterpret_cast<void*>(static_cast<std::uintptr_t>(event)), 0, nullptr);
}

void Require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "not so: %s\n", what);
    std::_Exit(1);
  }
}

template <typename Condition>
void Await(Condition condition, const char* what) {
  const auto deadline = std::chrono::steady_clock::now() + 60s;
  while (!condition() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(1ms);
  }
  Require(condition(), what);
}

/// What is seen of a process that does this: it says "as it should be" and ends.
template <typename Work>
[[noreturn]] void Try(Work work) {
  CatchInterrupts();
  Require(!Interrupted(), "nothing has come yet");
  work();
  std::fputs("as it should be\n", stderr);
  std::_Exit(0);
}

constexpr const char* kAsItShouldBe = "as it should be";

class EndByTheUser : public ::testing::TestWithParam<DWORD> {
 protected:
  static void Press() {
    Require(WaitForSingleObject(Announce(GetParam()), INFINITE) == WAIT_OBJECT_0, "it goes on");
    Require(Interrupted(), "the main thread sees it");
  }
};

TEST_P(EndByTheUser, LetsTheMainThreadCloseTheSessionTheFirstAndTheSecondTime) {
  EXPECT_EXIT(Try([] {
                Press();
                Press();
              }),
              ::testing::ExitedWithCode(0), kAsItShouldBe);
}

TEST_P(EndByTheUser, EndsTheProcessAtOnceTheThirdTime) {
  const auto by_control_c = [](int status) {
    return static_cast<DWORD>(status) == static_cast<DWORD>(STATUS_CONTROL_C_EXIT);
  };
  EXPECT_EXIT(Try([] {
                SetLeftBehind("an erased memory");
                Press();
                Press();
                Press();
              }),
              by_control_c, "ended at once; an erased memory");
}

INSTANTIATE_TEST_SUITE_P(Keys, EndByTheUser, ::testing::Values(CTRL_C_EVENT, CTRL_BREAK_EVENT),
                         [](const auto& test) {
                           return test.param == CTRL_C_EVENT ? "ControlC" : "ControlBreak";
                         });

class EndByTheSystem : public ::testing::TestWithParam<DWORD> {};

/// Windows ends the process as soon as its handler has returned.
TEST_P(EndByTheSystem, LeavesTheMainThreadTheTimeThatThereIs) {
  EXPECT_EXIT(Try([] {
                const HANDLE thread = Announce(GetParam());
                Await(Interrupted, "the main thread sees it");
                Require(WaitForSingleObject(thread, 200) == WAIT_TIMEOUT, "the handler waits");
              }),
              ::testing::ExitedWithCode(0), kAsItShouldBe);
}

INSTANTIATE_TEST_SUITE_P(Events, EndByTheSystem,
                         ::testing::Values(CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT,
                                           CTRL_SHUTDOWN_EVENT),
                         [](const auto& test) {
                           return test.param == CTRL_CLOSE_EVENT    ? "Close"
                                  : test.param == CTRL_LOGOFF_EVENT ? "Logoff"
                                                                    : "Shutdown";
                         });

/// The hidden window of this process; null as long as there is none.
HWND OwnWindow() {
  HWND window = nullptr;
  DWORD owner = 0;
  do {
    window = FindWindowExW(nullptr, window, L"quillmark", nullptr);
    GetWindowThreadProcessId(window, &owner);
  } while (window != nullptr && owner != GetCurrentProcessId());
  return window;
}

/// So Windows announces the same to a program that could have windows.
TEST(EndOfTheUsersSession, ReachesTheHiddenWindow) {
  EXPECT_EXIT(
      Try([] {
        Await([] { return OwnWindow() != nullptr; }, "there is a window");
        const HWND window = OwnWindow();
        Require(IsWindowVisible(window) == FALSE, "it is hidden");
        Require(SendMessageW(window, WM_QUERYENDSESSION, 0, 0) != 0, "it consents");
        SendMessageW(window, WM_ENDSESSION, FALSE, 0);
        Require(!Interrupted(), "another program wanted the session to go on");
        DWORD_PTR result = 0;
        Require(SendMessageTimeoutW(window, WM_ENDSESSION, TRUE, 0, SMTO_NORMAL, 200, &result) == 0,
                "the window waits");
        Require(Interrupted(), "the main thread sees it");
      }),
      ::testing::ExitedWithCode(0), kAsItShouldBe);
}

}  // namespace
}  // namespace quillmark::host
