// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "quillmark/object.h"
#include "quillmark/platform.h"
#include "quillmark/threading.h"

namespace quillmark::workers {

/// Runs a function once on a new thread, or throws.
using ThreadLauncher = std::function<void(std::function<void()>)>;

/// Makes an object of a class for the platform on which it will work.
using ClassFactory = std::function<std::shared_ptr<Object>(const std::shared_ptr<Platform>&)>;

/// A number that a thread can wait to see changed.
class WaitableNumber {
 public:
  using Value = std::uint64_t;

  std::atomic<Value> value = 0;

#ifdef _WIN32
  // Below std::atomic there is no futex here. g++ 12 then looks at the value before it takes its
  // lock, and a notification in between is lost. Nothing forks either, so a lock may be held.
  void Notify() {
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
  }
  void WaitWhile(Value old) const {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return value != old; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
#else
  void Notify() { value.notify_all(); }
  void WaitWhile(Value old) const { value.wait(old); }
#endif
};

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
  using State = WaitableNumber::Value;
  static constexpr unsigned kCountBits = 32;

  [[nodiscard]] static State Here(std::uint32_t count);
  [[nodiscard]] static std::uint32_t CountHere(State state);

  WaitableNumber state_;
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

/// The classes that one platform can create, by ProgID, and the workers that it has started.
/// Threads: any.
class Workers {
 public:
  explicit Workers(ThreadLauncher launcher) : launcher_(std::move(launcher)) {}

  void Register(std::string progID, ClassFactory factory);

  /// Starts a worker as `Platform::StartThread` says and returns its status. `platform`, which owns
  /// this object, `client` and `kept` live until the worker has ended.
  [[nodiscard]] std::int32_t Start(const std::shared_ptr<Platform>& platform,
                                   std::string_view progID, ParameterList parameters,
                                   const std::shared_ptr<Object>& client, std::any kept = {});

  [[nodiscard]] std::size_t Running() const { return counts_->All().Value(); }
  /// The platform may be destroyed before the wait is over.
  void WaitForAll() const;
  void WaitForThoseOf(const Object& client) const;

 private:
  /// Called on the worker's thread. Raises 0x80040154 for an unknown class.
  [[nodiscard]] std::shared_ptr<Object> Create(std::string_view progID,
                                               const std::shared_ptr<Platform>& platform) const;

  ThreadLauncher launcher_;
  std::shared_ptr<WorkerCounts> counts_ = std::make_shared<WorkerCounts>();
  mutable std::mutex mutex_;
  std::map<std::string, ClassFactory, std::less<>> factories_;
};

}  // namespace quillmark::workers
