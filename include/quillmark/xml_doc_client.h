// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/object.h"

namespace quillmark {

/// The callback through which a worker delivers its documents. `DiagOnCANReprog` implements it and
/// raises the event `XMLReady` to the host.
class QUILLMARK_API XMLDocClient : public virtual Object {
 public:
  /// The name under which the class is registered. It cannot be created: see D31 in
  /// docs/deliberate.md.
  static constexpr std::string_view kProgID = "Quillmark.XMLDocClient";

  /// Called on the worker's thread with a transfer document, or with null at the end of a sequence.
  /// True means "continue". The default does nothing and returns false.
  virtual bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml);

 protected:
  XMLDocClient() = default;
};

/// Always raises 9 "pure virtual class": the class is an interface.
[[noreturn]] QUILLMARK_API std::shared_ptr<XMLDocClient> CreateXMLDocClient();

}  // namespace quillmark
