// SPDX-License-Identifier: MIT
#include "component/event_source.h"

#include <utility>

namespace quillmark {

void EventSource::SetHandler(Handler handler) {
  auto replacement = std::make_shared<const Handler>(std::move(handler));
  // The old handler is destroyed with `replacement`, after the lock is released.
  const std::lock_guard lock(mutex_);
  handler_.swap(replacement);
}

bool EventSource::Raise(const std::shared_ptr<IXMLDOMNode>& node) const {
  bool cancel = true;
  const auto handler = Current();
  if (handler && *handler) {
    (*handler)(node, cancel);
  }
  return !cancel;
}

std::shared_ptr<const EventSource::Handler> EventSource::Current() const {
  const std::lock_guard lock(mutex_);
  return handler_;
}

}  // namespace quillmark
