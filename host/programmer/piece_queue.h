// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

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

}  // namespace quillmark::host
