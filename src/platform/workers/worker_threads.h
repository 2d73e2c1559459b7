// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "quillmark/object.h"
#include "quillmark/threading.h"

namespace quillmark::workers {

/// Runs a function once on a new thread, or throws.
using ThreadLauncher = std::function<void(std::function<void()>)>;

/// Counts the workers of this process: a forked child has none of its parent's, and meets no lock
/// that one of them held. Shared with every worker, since a platform may be destroyed before its
/// last worker ends.
class WorkerCount {
 public:
  void Increment();
  void Decrement();
  [[nodiscard]] std::size_t Value() const;
  void WaitForZero() const;

 private:
  /// The process that counted last, and its count in the low bits.
  using State = std::uint64_t;
  static constexpr unsigned kCountBits = 32;

  [[nodiscard]] static State Here(std::uint32_t count);
  [[nodiscard]] static std::uint32_t CountHere(State state);

  std::atomic<State> state_ = 0;
};

/// The workers of a platform: all of them, and those of each client. Threads: any.
class WorkerCounts {
 public:
  WorkerCount& All() { return all_; }

  /// The count of one client's workers, which share it with whoever waits for them.
  [[nodiscard]] std::shared_ptr<WorkerCount> Of(const Object* client);

 private:
  WorkerCount all_;
  std::mutex mutex_;
  /// A client lives as long as its workers, so that no other can have its address meanwhile.
  std::map<const Object*, std::weak_ptr<WorkerCount>> by_client_;
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
                                       const std::shared_ptr<WorkerCounts>& counts);

}  // namespace quillmark::workers
