// SPDX-License-Identifier: MIT
// The ends that Windows announces to a program at a console, as it announces them. Each test runs
// in a process of its own.
#include "host/tool/interrupt.h"

#include <gmock/gmock.h>
#include <windows.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/tool/command_line.h"
#include "host/tool/terminal.h"
#include "quillmark/host/files.h"

namespace {

/// What was asked of the system about its sleep since the process began, in turn.
std::vector<EXECUTION_STATE> asked_states;

EXECUTION_STATE WINAPI NoteState(EXECUTION_STATE state) {
  const EXECUTION_STATE before = asked_states.empty() ? ES_CONTINUOUS : asked_states.back();
  asked_states.push_back(state);
  return before;
}

}  // namespace

/// In place of the system's own call, for the whole program: this is where the import library has
/// its address.
extern "C" {
extern decltype(&SetThreadExecutionState) const __imp_SetThreadExecutionState;
decltype(&SetThreadExecutionState) const __imp_SetThreadExecutionState = &NoteState;
}

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

constexpr EXECUTION_STATE kAwake = ES_CONTINUOUS | ES_SYSTEM_REQUIRED;

/// Runs a command on the simulated ECU in this process. Whether it succeeded.
bool Succeeds(const std::string& command_line) {
  Command command;
  const auto app = MakeCommandLine(command);
  std::ostringstream out;
  const auto reporter = MakeReporter(ReportStyle::kPlain, out);
  try {
    app->parse(command_line);
    command.run(*reporter);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

class Sleep : public ::testing::Test {
 protected:
  void SetUp() override {
    asked_states.clear();
    WriteFile("sleep.s19", "S1051000AABB85\r\nS9030000FC\r\n");
  }
  void TearDown() override {
    std::filesystem::remove("sleep.s19");
    std::filesystem::remove("sleep.hex");
  }
};

TEST_F(Sleep, IsKeptOffByAFlash) {
  EXPECT_TRUE(Succeeds("flash sleep.s19 --yes"));
  EXPECT_THAT(asked_states, ::testing::ElementsAre(kAwake, ES_CONTINUOUS));
}

TEST_F(Sleep, IsKeptOffByARead) {
  EXPECT_TRUE(Succeeds("read --range 0:4 -o sleep.hex"));
  EXPECT_THAT(asked_states, ::testing::ElementsAre(kAwake, ES_CONTINUOUS));
}

TEST_F(Sleep, ComesBackAfterAFailure) {
  EXPECT_FALSE(Succeeds("flash sleep.s19 --yes --fault refuse-key"));
  EXPECT_THAT(asked_states, ::testing::ElementsAre(kAwake, ES_CONTINUOUS));
}

TEST_F(Sleep, ComesBackAfterControlC) {
  EXPECT_EXIT(Try([] {
                Require(WaitForSingleObject(Announce(CTRL_C_EVENT), INFINITE) == WAIT_OBJECT_0,
                        "it goes on");
                Require(!Succeeds("flash sleep.s19 --yes"), "it is cancelled");
                Require(asked_states == std::vector<EXECUTION_STATE>{kAwake, ES_CONTINUOUS},
                        "awake, and no longer");
              }),
              ::testing::ExitedWithCode(0), kAsItShouldBe);
}

TEST_F(Sleep, IsNobodysBusinessWhereNothingIsSent) {
  EXPECT_TRUE(Succeeds("plan sleep.s19"));
  EXPECT_THAT(asked_states, ::testing::IsEmpty());
}

/// Each read has a thread of its own, which has ended by the time it would be detached.
TEST(ReadOfNoConsole, IsTheEndOfInputTimeAndAgain) {
  for (int read = 0; read < 1000; ++read) {
    ASSERT_EQ(ReadTyped(60s), "");
  }
}

}  // namespace
}  // namespace quillmark::host
