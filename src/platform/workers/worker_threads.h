// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "quillmark/object.h"
#include "quillmark/threading.h"

namespace quillmark::workers {

/// Runs a function once on a new thread, or throws.
using ThreadLauncher = std::function<void(std::function<void()>)>;

/// Counts workers. Shared with every worker, since a platform may be destroyed before its last
/// worker ends.
class WorkerCount {
 public:
  void Increment();
  void Decrement();
  [[nodiscard]] std::size_t Value() const;
  void WaitForZero() const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable became_zero_;
  std::size_t value_ = 0;
};

/// What a worker consists of, and what it keeps alive until it ends.
struct WorkerTask {
  /// Creates the worker object and keeps the platform alive. Called on the worker's thread.
  std::function<std::shared_ptr<Object>()> create;
  std::shared_ptr<Object> client;
};

/// Starts a worker as `Platform::StartThread` says and returns its status.
[[nodiscard]] std::int32_t StartWorker(const ThreadLauncher& launch, WorkerTask task,
                                       ParameterList parameters,
                                       const std::shared_ptr<WorkerCount>& count);

}  // namespace quillmark::workers
