// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <deque>
#include <memory>
#include <variant>
#include <vector>

#include "quillmark/threading.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark {

/// The parameter list of a host's threading library: an array of Longs, Bytes and documents, by
/// value or by reference. All values are copied at once.
class ThreadParameters {
 public:
  /// Raises 13 for an element of another kind and 6 for a number out of the range of a Long.
  explicit ThreadParameters(SAFEARRAY* parameters);

  /// Refers to this object's own copies.
  [[nodiscard]] ParameterList List() const { return list_; }

 private:
  using Value = std::variant<std::int32_t, std::uint8_t, std::shared_ptr<DOMDocument>>;

  // Its elements do not move.
  std::deque<Value> values_;
  std::vector<Parameter> list_;
};

/// The client of a worker that a host's threading library runs, as the worker sees it: an object
/// with `IXMLDocClient`. Raises 13 for any other and for Nothing.
[[nodiscard]] std::shared_ptr<XMLDocClient> WrapClient(IUnknown* client);

}  // namespace quillmark
