// SPDX-License-Identifier: MIT
#include "stream_transfer.h"

#include <chrono>
#include <optional>

#include "errors.h"

namespace quillmark::python {

void StreamTransfer::Cancel() {
  if (!IsOfThisProcess()) {
    return;
  }
  ended_ = true;
  queue_.Close();
}

std::shared_ptr<Document> StreamTransfer::Next() {
  RequireThisProcess();
  const std::shared_ptr<IXMLDOMNode> node = NextNode();
  if (node) {
    delivery_.Add(*node);
    return MakeDocument(node);
  }
  const bool was_cancelled = ended_.exchange(true);
  if (!was_cancelled && !delivery_.complete()) {
    RaiseIncomplete(delivery_.delivered(), delivery_.expected());
  }
  return nullptr;
}

std::shared_ptr<IXMLDOMNode> StreamTransfer::NextNode() {
  constexpr std::chrono::milliseconds kLookUp{50};
  std::optional<std::shared_ptr<IXMLDOMNode>> node;
  while (!ended_) {
    {
      const WithoutGil released;
      node = queue_.Pop(kLookUp);
    }
    if (node) {
      return *node;
    }
    CheckSignals();
  }
  return nullptr;
}

py::object GeneratorOf(std::shared_ptr<StreamTransfer> transfer) {
  const py::object make = py::module_::import("quillmark._generator").attr("documents");
  return make(std::make_shared<DocumentStream>(std::move(transfer)));
}

}  // namespace quillmark::python
