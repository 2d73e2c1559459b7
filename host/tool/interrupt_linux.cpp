// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "host/tool/interrupt.h"

namespace quillmark::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSignalThatEndsAtOnce = 3;

std::atomic<bool> interrupted = false;
/// In ticks of the clock; 0: it did not.
std::atomic<Clock::rep> went_on_at = 0;
std::atomic<int> requests_to_end = 0;
std::atomic<const char*> left_behind = nullptr;
std::atomic<pid_t> group_to_kill = 0;
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
  if (const pid_t group = group_to_kill; group != 0) {
    ::kill(-group, SIGKILL);
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

std::optional<Clock::time_point> TakeEndOfSuspension() {
  const Clock::rep ticks = went_on_at.exchange(0);
  return ticks == 0 ? std::nullopt : std::optional(Clock::time_point(Clock::duration(ticks)));
}

void SetLeftBehind(const char* text) { left_behind = text; }

void SetGroupToKill(pid_t group) { group_to_kill = group; }

void LetWritingFail() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace quillmark::host
