// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/dom.h"

namespace quillmark::host {

/// Passes the documents of a transfer worker to the thread that owns the bus. The worker is never
/// more than two documents ahead, so a large image does not fill the memory.
///
/// Threads: `Push` on the worker's thread, the others on the owner's.
class PieceQueue {
 public:
  /// Waits for space and adds a document, or null for the end of the sequence. False once the queue
  /// is closed: the owner wants no more.
  bool Push(std::shared_ptr<IXMLDOMNode> piece);

  /// The next document, null at the end of the sequence; nothing if it does not come within
  /// `timeout`.
  [[nodiscard]] std::optional<std::shared_ptr<IXMLDOMNode>> Pop(std::chrono::milliseconds timeout);

  /// Makes every `Push` fail from now on, including one that is waiting.
  void Close();

 private:
  static constexpr std::size_t kMostPieces = 2;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<IXMLDOMNode>> pieces_;
  bool closed_ = false;
};

/// Takes the documents of a component object's workers for as long as it lives. When it ends, a
/// worker that still has documents is cancelled. The object must outlive it.
class PieceReceiver {
 public:
  explicit PieceReceiver(DiagOnCANReprog& reprog);
  PieceReceiver(const PieceReceiver&) = delete;
  PieceReceiver& operator=(const PieceReceiver&) = delete;
  PieceReceiver(PieceReceiver&&) = delete;
  PieceReceiver& operator=(PieceReceiver&&) = delete;
  ~PieceReceiver();

  /// As `PieceQueue::Pop`.
  [[nodiscard]] std::optional<std::shared_ptr<IXMLDOMNode>> Next(
      std::chrono::milliseconds timeout) {
    return queue_->Pop(timeout);
  }

 private:
  DiagOnCANReprog& reprog_;
  std::shared_ptr<PieceQueue> queue_ = std::make_shared<PieceQueue>();
};

}  // namespace quillmark::host
