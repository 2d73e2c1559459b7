// SPDX-License-Identifier: MIT
#include "platform/shared/worker_threads.h"

#include <unistd.h>

#include <exception>
#include <future>
#include <utility>

#include "quillmark/error.h"
#include "quillmark/portable_platform.h"

namespace quillmark::workers {
namespace {

/// Counts one worker as long as it lives.
class CountedWorker {
 public:
  CountedWorker(std::shared_ptr<WorkerCounts> counts, const Object* client)
      : counts_(std::move(counts)), of_client_(counts_->Of(client)) {
    of_client_->Increment();
    counts_->All().Increment();
  }
  CountedWorker(const CountedWorker&) = delete;
  CountedWorker& operator=(const CountedWorker&) = delete;
  CountedWorker(CountedWorker&&) = delete;
  CountedWorker& operator=(CountedWorker&&) = delete;
  ~CountedWorker() {
    of_client_->Decrement();
    counts_->All().Decrement();
  }

 private:
  std::shared_ptr<WorkerCounts> counts_;
  std::shared_ptr<WorkerCount> of_client_;
};

/// The status for an error at the start of a worker.
std::int32_t StatusOf(const Error& error) {
  constexpr std::uint32_t kRunTimeErrors = 0x800A0000;
  if (error.Number() < 0) {
    return error.Number();
  }
  const auto status =
      static_cast<std::int32_t>(kRunTimeErrors + static_cast<std::uint32_t>(error.Number()));
  return status < 0 ? status : PortablePlatform::kUnexpectedFailure;
}

/// What a worker consists of, and what it keeps alive until it ends.
struct WorkerTask {
  /// Creates the worker object and keeps the platform alive. Called on the worker's thread.
  std::function<std::shared_ptr<Object>()> create;
  std::shared_ptr<Object> client;
};

/// One worker: created on the caller's thread, run on the new one.
class Worker {
 public:
  Worker(WorkerTask task, ParameterList parameters, const std::shared_ptr<WorkerCounts>& counts)
      : counted_(std::make_unique<CountedWorker>(counts, task.client.get())),
        task_(std::move(task)),
        parameters_(parameters) {}

  [[nodiscard]] std::future<std::int32_t> Status() { return status_.get_future(); }

  void Run() {
    const std::int32_t status = Start();
    if (status < 0) {
      Release();
      status_.set_value(status);
      return;
    }
    status_.set_value(status);
    try {
      thread_->EntryPoint(task_.client);
    } catch (...) {
      // D25.
    }
    Release();
  }

 private:
  std::int32_t Start() {
    try {
      object_ = task_.create();
      thread_ = dynamic_cast<IThread*>(object_.get());
      return thread_ == nullptr ? PortablePlatform::kNoSuchInterface
                                : thread_->GetParameter(parameters_);
    } catch (const Error& error) {
      return StatusOf(error);
    } catch (...) {
      return PortablePlatform::kUnexpectedFailure;
    }
  }

  /// Releases everything that the worker keeps alive, and only then counts as ended.
  void Release() {
    thread_ = nullptr;
    object_.reset();
    task_ = {};
    counted_.reset();
  }

  std::unique_ptr<CountedWorker> counted_;
  WorkerTask task_;
  ParameterList parameters_;
  std::promise<std::int32_t> status_;
  std::shared_ptr<Object> object_;
  IThread* thread_ = nullptr;
};

}  // namespace

void WorkerCount::Increment() {
  State state = state_.value;
  while (!state_.value.compare_exchange_weak(state, Here(CountHere(state) + 1))) {
  }
}

void WorkerCount::Decrement() {
  --state_.value;
  state_.Notify();
}

std::size_t WorkerCount::Value() const { return CountHere(state_.value); }

void WorkerCount::WaitForZero() const {
  for (State state = state_.value; CountHere(state) != 0; state = state_.value) {
    state_.WaitWhile(state);
  }
}

WorkerCount::State WorkerCount::Here(std::uint32_t count) {
  return State{static_cast<std::uint32_t>(::getpid())} << kCountBits | count;
}

std::uint32_t WorkerCount::CountHere(State state) {
  const auto count = static_cast<std::uint32_t>(state);
  return state == Here(count) ? count : 0;
}

std::shared_ptr<WorkerCount> WorkerCounts::Of(const Object* client) {
  const std::lock_guard lock(mutex_);
  std::erase_if(by_client_, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<WorkerCount>& known = by_client_[client];
  std::shared_ptr<WorkerCount> count = known.lock();
  if (!count) {
    count = std::make_shared<WorkerCount>();
    known = count;
  }
  return count;
}

void Workers::Register(std::string progID, ClassFactory factory) {
  const std::lock_guard lock(mutex_);
  // The replaced factory is destroyed without the lock: it may hold anything.
  std::swap(factories_[std::move(progID)], factory);
}

std::shared_ptr<Object> Workers::Create(std::string_view progID,
                                        const std::shared_ptr<Platform>& platform) const {
  std::unique_lock lock(mutex_);
  const auto found = factories_.find(progID);
  if (found == factories_.end()) {
    throw Error(PortablePlatform::kClassNotRegistered);
  }
  const ClassFactory factory = found->second;
  lock.unlock();
  return factory(platform);
}

std::int32_t Workers::Start(const std::shared_ptr<Platform>& platform, std::string_view progID,
                            ParameterList parameters, const std::shared_ptr<Object>& client,
                            std::any kept) {
  try {
    WorkerTask task{[this, platform, name = std::string(progID), held = std::move(kept)] {
                      return Create(name, platform);
                    },
                    client};
    auto worker = std::make_shared<Worker>(std::move(task), parameters, counts_);
    std::future<std::int32_t> status = worker->Status();
    // From here on only the thread keeps the worker alive; if it never runs, the promise is broken.
    launcher_([running = std::move(worker)] { running->Run(); });
    return status.get();
  } catch (...) {
    return PortablePlatform::kThreadNotStarted;
  }
}

void Workers::WaitForAll() const {
  const std::shared_ptr<WorkerCounts> counts = counts_;
  counts->All().WaitForZero();
}

void Workers::WaitForThoseOf(const Object& client) const {
  // In a forked child another thread of the parent may have held the lock of the counts.
  if (Running() != 0) {
    counts_->Of(&client)->WaitForZero();
  }
}

}  // namespace quillmark::workers
