// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "quillmark/dom.h"

namespace quillmark::testing {

/// The fragment that a send step is copied from: `s` with a `d` with an empty text, and a line end.
inline std::shared_ptr<IXMLDOMNode> SendTemplate(DOMDocument& document) {
  const auto s = document.createElement("s");
  const auto d = s->appendChild(document.createElement("d"));
  d->appendChild(document.createTextNode(""));
  auto fragment = document.createDocumentFragment();
  fragment->appendChild(s);
  fragment->appendChild(document.createTextNode("\r\n"));
  return fragment;
}

}  // namespace quillmark::testing
