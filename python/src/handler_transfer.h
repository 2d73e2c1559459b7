// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "delivery.h"
#include "live_transfers.h"

namespace quillmark::python {

/// Hands the documents of a worker to a Python function, on the worker's thread.
///
/// The function and what it raised are Python objects, touched only with the interpreter's lock
/// held; how the transfer ended is guarded by a mutex of its own, under which that lock is never
/// asked for.
class HandlerTransfer : public TransferClient {
 public:
  HandlerTransfer(std::int64_t expected, py::function handler)
      : delivery_(expected), handler_(std::move(handler)) {}
  HandlerTransfer(const HandlerTransfer&) = delete;
  HandlerTransfer& operator=(const HandlerTransfer&) = delete;
  HandlerTransfer(HandlerTransfer&&) = delete;
  HandlerTransfer& operator=(HandlerTransfer&&) = delete;
  ~HandlerTransfer() override;

  /// On the worker's thread.
  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override;
  void Cancel() override { cancelled_ = true; }

  /// Waits for the end, signal handlers running meanwhile. True if every document was accepted,
  /// false if the transfer was cancelled. Raises what the handler raised, TransferIncomplete if the
  /// worker failed, and TimeoutError after `seconds`.
  bool Wait(std::optional<double> seconds);

  [[nodiscard]] bool Ended() const;

 private:
  enum class End : std::uint8_t { kNotYet, kComplete, kIncomplete, kCancelled, kRaised };

  [[nodiscard]] End EndAfter(const std::shared_ptr<IXMLDOMNode>& node);
  [[nodiscard]] bool CallHandler(const std::shared_ptr<IXMLDOMNode>& node);
  void SetEnd(End end);
  [[nodiscard]] End AwaitEnd(std::optional<double> seconds);

  Delivery delivery_;
  py::object handler_;
  /// What the handler raised, until it has been reported.
  py::object raised_;
  std::atomic<bool> cancelled_ = false;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  End end_ = End::kNotYet;
};

}  // namespace quillmark::python
