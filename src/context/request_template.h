// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include "context/addressing.h"
#include "quillmark/dom.h"
#include "quillmark/platform.h"

namespace quillmark {

/// Selects the element that holds the steps: "/k" in K line form, otherwise "/can/x".
[[nodiscard]] std::string_view RequestPath(TransportForm form);

/// The request document without steps from which every request of a configuration is copied.
[[nodiscard]] std::shared_ptr<DOMDocument> BuildRequestTemplate(Platform& platform,
                                                                const Addressing& addressing,
                                                                bool free_threaded);

/// Appends a new element with `text` to `parent`.
void AppendElement(DOMDocument& document, IXMLDOMNode& parent, std::string_view name,
                   std::string_view text);

/// Appends a text node with a line end to `parent`.
void AppendLineEnd(DOMDocument& document, IXMLDOMNode& parent);

}  // namespace quillmark
