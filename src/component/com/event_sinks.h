// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "base/com/com_ptr.h"

namespace quillmark {

/// The sinks of one object's event `XMLReady`. A sink is called in its own apartment: in the
/// multithreaded apartment on the worker's thread, in a single-threaded apartment on its thread,
/// while its host pumps messages.
///
/// Threads: any; sinks come and go while a worker raises the event, and no lock is held during a
/// call.
class EventSinks {
 public:
  using Connection = std::pair<DWORD, com::ComPtr<IDispatch>>;

  /// Adds a sink, on a thread of its apartment, and returns its cookie, which is never 0. Raises
  /// the failure if COM refuses it.
  [[nodiscard]] DWORD Advise(IDispatch& sink);
  /// False if there is no such sink. A call that is under way still arrives.
  [[nodiscard]] bool Unadvise(DWORD cookie);

  /// Raises the event with every sink in turn; they share `cancel`. A sink without the event is
  /// skipped. Once all have been called, the first failure is raised.
  void Raise(const com::ComPtr<IDispatch>& node, bool& cancel) const;

  /// The sinks, as seen from the calling thread's apartment.
  [[nodiscard]] std::vector<Connection> Connections() const;

 private:
  class Sink;
  using Snapshot = std::vector<std::pair<DWORD, std::shared_ptr<Sink>>>;

  [[nodiscard]] Snapshot Current() const;

  mutable std::mutex mutex_;
  std::map<DWORD, std::shared_ptr<Sink>> sinks_;
  DWORD last_cookie_ = 0;
};

}  // namespace quillmark
