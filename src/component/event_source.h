// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>

#include "quillmark/diag_on_can_reprog.h"

namespace quillmark {

/// The event `XMLReady` of one object: one handler, replaced and taken under a lock that is never
/// held during a call. Any thread.
class EventSource {
 public:
  using Handler = DiagOnCANReprog::XMLReadyHandler;

  void SetHandler(Handler handler);

  /// True where the handler set `Cancel` to false; without a handler nobody does.
  [[nodiscard]] bool Raise(const std::shared_ptr<IXMLDOMNode>& node) const;

 private:
  [[nodiscard]] std::shared_ptr<const Handler> Current() const;

  mutable std::mutex mutex_;
  std::shared_ptr<const Handler> handler_;
};

}  // namespace quillmark
