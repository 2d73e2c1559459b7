// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "host/tool/interrupt.h"

namespace quillmark::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSignalThatEndsAtOnce = 3;
/// More than programs run at once.
constexpr std::size_t kMostGroups = 1024;

std::atomic<bool> interrupted = false;
/// In ticks of the clock; 0: it never did.
std::atomic<Clock::rep> went_on_at = 0;
std::atomic<int> requests_to_end = 0;
std::atomic<const char*> left_behind = nullptr;
/// 0: free.
std::array<std::atomic<pid_t>, kMostGroups> groups_to_kill{};
template <typename... Value>
constexpr bool kAreLockFree = (std::atomic<Value>::is_always_lock_free && ...);
static_assert(kAreLockFree<bool, int, const char*, pid_t, Clock::rep>,
              "a signal handler may use no other");

/// All that a signal handler may do about a message.
void Say(const char* text) {
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
}

/// The signal ends the process once its handler has returned.
void EndAtOnce(int signal) {
  Say("\nquillmark: ended at once; ");
  const char* const text = left_behind;
  Say(text == nullptr ? "nothing is left behind" : text);
  Say("\n");
  for (const std::atomic<pid_t>& place : groups_to_kill) {
    if (const pid_t group = place; group != 0) {
      ::kill(-group, SIGKILL);
    }
  }
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

extern "C" void OnHangup(int /*signal*/) { interrupted = true; }

extern "C" void OnInterrupt(int signal) {
  const int saved_errno = errno;
  interrupted = true;
  const int requests = ++requests_to_end;
  if (requests >= kSignalThatEndsAtOnce) {
    EndAtOnce(signal);
  } else if (requests > 1) {
    Say("\nquillmark: still closing the session; once more ends at once\n");
  }
  errno = saved_errno;
}

extern "C" void OnContinued(int /*signal*/) {
  went_on_at = Clock::now().time_since_epoch().count();
}

void ReplaceGroup(pid_t old_group, pid_t new_group) {
  for (std::atomic<pid_t>& place : groups_to_kill) {
    pid_t expected = old_group;
    if (place.compare_exchange_strong(expected, new_group)) {
      return;
    }
  }
}

bool IsIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void CatchInterrupts() {
  std::signal(SIGINT, OnInterrupt);
  std::signal(SIGTERM, OnInterrupt);
  std::signal(SIGCONT, OnContinued);
  if (!IsIgnored(SIGHUP)) {
    std::signal(SIGHUP, OnHangup);
  }
}

bool Interrupted() { return interrupted; }

Clock::time_point LastEndOfSuspension() { return Clock::time_point(Clock::duration(went_on_at)); }

void SetLeftBehind(const char* text) { left_behind = text; }

void AddGroupToKill(pid_t group) { ReplaceGroup(0, group); }

void RemoveGroupToKill(pid_t group) { ReplaceGroup(group, 0); }

StayAwake::StayAwake() = default;
StayAwake::~StayAwake() = default;

void LetWritingFail() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) == -1) {
      // The lowest number that is free is that of the stream. What is open the wrong way round
      // fails as the closed one did.
      ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

}  // namespace quillmark::host
