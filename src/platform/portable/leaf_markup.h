// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <span>

#include "quillmark/dom.h"

namespace quillmark::portable {

/// Appends a row of leaves, as `IXMLDOMElement::appendLeaves` says, by parsing it: that takes a
/// quarter of the instructions of making the nodes one by one. Returns false, and appends nothing,
/// if markup cannot represent a text. Raises 13 for a name that is not an XML name, and 7 with part
/// of the row appended.
[[nodiscard]] bool AppendAsMarkup(pugi::xml_node element, std::span<const Leaf> leaves);

}  // namespace quillmark::portable
