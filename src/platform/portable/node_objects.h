// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/portable/document_tree.h"
#include "quillmark/dom.h"

/// The node objects of the document model: handles that know their interface.
namespace quillmark::portable {

/// The object for a node; null for an empty handle.
[[nodiscard]] std::shared_ptr<IXMLDOMNode> WrapNode(const NodeHandle& handle);
/// The same for an element.
[[nodiscard]] std::shared_ptr<IXMLDOMElement> WrapElement(const NodeHandle& handle);
/// The document of a tree; a `FreeThreadedDOMDocument` where it is of that kind.
[[nodiscard]] std::shared_ptr<DOMDocument> WrapDocument(const std::shared_ptr<DocumentTree>& tree);

[[nodiscard]] std::shared_ptr<DOMDocument> NewDocument();
[[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument();

}  // namespace quillmark::portable
