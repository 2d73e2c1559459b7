// SPDX-License-Identifier: MIT
#include "live_transfers.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "transfer_platform.h"

namespace quillmark::python {
namespace {

constexpr std::chrono::milliseconds kLookAgain{5};

struct LiveTransfers {
  std::mutex mutex;
  std::vector<std::weak_ptr<TransferClient>> clients;
  std::atomic<int> calls = 0;
  std::atomic<bool> ending = false;
};

/// Never destroyed: a client may end at any time.
LiveTransfers& Live() {
  static auto* const live = [] {
    // A forked child has none of the threads that work for its parent.
    ::pthread_atfork(nullptr, nullptr, [] { Live().calls = 0; });
    return new LiveTransfers;
  }();
  return *live;
}

thread_local const TransferClient* handled = nullptr;

}  // namespace

void TransferClient::RequireThisProcess() const {
  if (!IsOfThisProcess()) {
    throw std::runtime_error("the transfer computes in another process, the one that was forked");
  }
}

Handling::Handling(const TransferClient& client) { handled = &client; }

Handling::~Handling() { handled = nullptr; }

const TransferClient* Handled() { return handled; }

void Register(const std::shared_ptr<TransferClient>& client) {
  LiveTransfers& live = Live();
  const std::lock_guard lock(live.mutex);
  if (live.ending) {
    throw std::runtime_error("no transfer can start while the interpreter ends");
  }
  std::erase_if(live.clients, [](const auto& other) { return other.expired(); });
  live.clients.push_back(client);
}

void WaitForWorkers() {
  if (Handled() != nullptr) {
    throw std::runtime_error("a handler cannot wait for the workers, one of which runs it");
  }
  while (SharedPlatform()->RunningWorkers() > 0) {
    {
      const WithoutGil released;
      std::this_thread::sleep_for(kLookAgain);
    }
    CheckSignals();
  }
}

LiveCall::LiveCall() {
  LiveTransfers& live = Live();
  const std::lock_guard lock(live.mutex);
  if (live.ending) {
    throw std::runtime_error("no call can start while the interpreter ends");
  }
  ++live.calls;
}

LiveCall::~LiveCall() { --Live().calls; }

bool LiveCall::MustEnd() { return Live().ending; }

void EndTransfers() {
  LiveTransfers& live = Live();
  std::vector<std::weak_ptr<TransferClient>> clients;
  {
    const std::lock_guard lock(live.mutex);
    live.ending = true;
    clients.swap(live.clients);
  }
  for (const auto& weak : clients) {
    if (const auto client = weak.lock()) {
      client->Cancel();
    }
  }
  while (live.calls > 0) {
    const WithoutGil released;
    std::this_thread::sleep_for(kLookAgain);
  }
  WaitForWorkers();
}

}  // namespace quillmark::python
