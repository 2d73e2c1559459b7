// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>

#include "quillmark/diag_on_can_reprog.h"

namespace quillmark {

/// The event `XMLReady` of one object: one handler, replaced and fetched under a lock that is never
/// held during a call. Threads: any.
class EventSource {
 public:
  using Handler = DiagOnCANReprog::XMLReadyHandler;

  void SetHandler(Handler handler);

  /// True if the handler set `Cancel` to false; without a handler, false.
  [[nodiscard]] bool Raise(const std::shared_ptr<IXMLDOMNode>& node) const;

 private:
  [[nodiscard]] std::shared_ptr<const Handler> Current() const;

  mutable std::mutex mutex_;
  std::shared_ptr<const Handler> handler_;
};

}  // namespace quillmark
