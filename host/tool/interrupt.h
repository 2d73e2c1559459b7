// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>

namespace quillmark::host {

/// Makes SIGINT, SIGTERM and SIGHUP raise a flag, for commands that look at it and close their
/// session. A SIGHUP that was ignored stays ignored (nohup). A third SIGINT or SIGTERM ends the
/// process at once; SIGHUP does not count, since a terminal that closes sends several. On Windows
/// Ctrl-C and Ctrl-Break are what SIGINT is here, and the end of the window or of the user's
/// session what SIGHUP is.
void CatchInterrupts();

/// Whether one of them has come.
[[nodiscard]] bool Interrupted();

/// When the process last went on after it had been suspended (Ctrl-Z); the origin of the clock if
/// it never was.
[[nodiscard]] std::chrono::steady_clock::time_point LastEndOfSuspension();

/// What the third signal leaves behind, for the message that it ends with. `text` must live until
/// the process ends; null: nothing is left.
void SetLeftBehind(const char* text);

/// A process group that the third signal kills as well, until it is removed. Not on Windows, where
/// a child process ends with this one. Threads: any.
void AddGroupToKill(pid_t group);
void RemoveGroupToKill(pid_t group);

/// While one lives, Windows does not put the machine to sleep because nobody uses it, which would
/// cut off an ECU in the middle of a flash. Does nothing elsewhere. It ends on the thread that made
/// it; several may live at once, on one thread the last one ends first.
class StayAwake {
 public:
  StayAwake();
  StayAwake(const StayAwake&) = delete;
  StayAwake& operator=(const StayAwake&) = delete;
  StayAwake(StayAwake&&) = delete;
  StayAwake& operator=(StayAwake&&) = delete;
  // NOLINTNEXTLINE(performance-trivially-destructible): on Windows it has something to do
  ~StayAwake();

 private:
  /// What the thread asked of the system before.
  std::uint32_t before_ = 0;
};

/// Makes writing to a pipe that nobody reads, and beyond the largest size that a file may have, an
/// error instead of the end of the process, which would leave an ECU half written. So is writing to
/// a standard stream that was closed before the process began: no file that is opened takes its
/// place.
void LetWritingFail();

}  // namespace quillmark::host
