// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include "context/addressing.h"
#include "quillmark/dom.h"
#include "quillmark/platform.h"

namespace quillmark {

/// Ends every line of a document.
inline constexpr std::string_view kLineEnd = "\r\n";

/// What every request document of a configuration is cut from. The fragments are prototypes: a copy
/// of them, with its own text, is appended to a request; they themselves never are.
struct Templates {
  std::shared_ptr<DOMDocument> document;  ///< a request document without steps
  std::string_view request_path;          ///< selects the element that takes the steps
  std::shared_ptr<IXMLDOMNode> send;      ///< `s` with its `d`
  std::shared_ptr<IXMLDOMNode> reply;     ///< `r` with its `c`
  std::shared_ptr<IXMLDOMNode> wait;      ///< `w`
};

/// Selects the element that takes the steps: "/k" in K form, otherwise "/can/x".
[[nodiscard]] std::string_view RequestPath(TransportForm form);

[[nodiscard]] Templates BuildTemplates(Platform& platform, const Addressing& addressing,
                                       bool free_threaded);

/// Appends a new element with `text` to `parent`.
void AppendElement(DOMDocument& document, IXMLDOMNode& parent, std::string_view name,
                   std::string_view text);

/// Appends a text node with a line end to `parent`.
void AppendLineEnd(DOMDocument& document, IXMLDOMNode& parent);

}  // namespace quillmark
