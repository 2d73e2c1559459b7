// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

#include "quillmark/diag_on_can_reprog.h"

namespace quillmark::host {

/// Counts transfers from their start to their last event. May be used from several threads at once.
class RunningTransfers {
 public:
  void Begin();
  void End();
  /// Returns once none is running. In a single-threaded apartment no event arrives meanwhile.
  void WaitForNone();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t count_ = 0;
};

/// The registered component as an object of the class that it implements: every call goes through
/// its vtable, and its event reaches the handler of `OnXMLReady`. Documents and host library
/// objects are those of the Windows platform.
///
/// The thread is in the multi-threaded apartment; there events arrive on the worker's thread.
/// Raises the failure if the component cannot be created.
[[nodiscard]] std::shared_ptr<DiagOnCANReprog> CreateComComponent(
    const std::shared_ptr<RunningTransfers>& transfers);

}  // namespace quillmark::host
