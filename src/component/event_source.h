// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "quillmark/diag_on_can_reprog.h"

namespace quillmark {

/// The event `XMLReady` of one object: one handler, replaced and fetched under a lock that is never
/// held during a call. Threads: any.
class EventSource {
 public:
  using Handler = DiagOnCANReprog::XMLReadyHandler;

  void SetHandler(Handler handler) {
    auto replacement = std::make_shared<const Handler>(std::move(handler));
    // The old handler is destroyed with `replacement`, after the lock is released.
    const std::lock_guard lock(mutex_);
    handler_.swap(replacement);
  }

  /// True if the handler set `Cancel` to false; without a handler, false.
  [[nodiscard]] bool Raise(const std::shared_ptr<IXMLDOMNode>& node) const {
    bool cancel = true;
    const auto handler = Current();
    if (handler && *handler) {
      (*handler)(node, cancel);
    }
    return !cancel;
  }

 private:
  [[nodiscard]] std::shared_ptr<const Handler> Current() const {
    const std::lock_guard lock(mutex_);
    return handler_;
  }

  mutable std::mutex mutex_;
  std::shared_ptr<const Handler> handler_;
};

}  // namespace quillmark
