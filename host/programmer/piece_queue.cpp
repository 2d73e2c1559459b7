// SPDX-License-Identifier: MIT
#include "host/programmer/piece_queue.h"

#include <utility>

namespace quillmark::host {

bool PieceQueue::Push(std::shared_ptr<IXMLDOMNode> piece) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return closed_ || pieces_.size() < kMostPieces; });
  if (closed_) {
    return false;
  }
  pieces_.push_back(std::move(piece));
  changed_.notify_all();
  return true;
}

std::optional<std::shared_ptr<IXMLDOMNode>> PieceQueue::Pop(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, timeout, [this] { return !pieces_.empty(); })) {
    return std::nullopt;
  }
  std::shared_ptr<IXMLDOMNode> piece = std::move(pieces_.front());
  pieces_.pop_front();
  changed_.notify_all();
  return piece;
}

void PieceQueue::Close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  pieces_.clear();
  changed_.notify_all();
}

}  // namespace quillmark::host
