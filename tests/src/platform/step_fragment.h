// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "quillmark/dom.h"

namespace quillmark::testing {

/// A fragment with an element, one inside it, an empty text and a line end.
inline std::shared_ptr<IXMLDOMNode> StepFragment(DOMDocument& document) {
  const auto s = document.createElement("s");
  const auto d = s->appendChild(document.createElement("d"));
  d->appendChild(document.createTextNode(""));
  auto fragment = document.createDocumentFragment();
  fragment->appendChild(s);
  fragment->appendChild(document.createTextNode("\r\n"));
  return fragment;
}

}  // namespace quillmark::testing
