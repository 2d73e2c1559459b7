// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "interpreter.h"
#include "quillmark/dom.h"

namespace quillmark::python {

using Document = Shared<DOMDocument>;

/// The document that a request method or a worker gave.
[[nodiscard]] std::shared_ptr<Document> MakeDocument(const std::shared_ptr<IXMLDOMNode>& node);

/// What a transfer document covers; nothing if it does not say.
[[nodiscard]] std::optional<std::int64_t> TotalBytesOf(const IXMLDOMNode& document);

}  // namespace quillmark::python
