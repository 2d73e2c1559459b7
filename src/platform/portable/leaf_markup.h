// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <span>

#include "quillmark/dom.h"

namespace quillmark::portable {

/// Appends a row of leaves, as `IXMLDOMElement::appendLeaves` says, by parsing it: that takes a
/// quarter of the instructions that it takes to make the nodes one by one. False, and nothing
/// appended, where markup cannot carry a text as it is. Raises 13 for a name that is not an XML
/// name, 7 half-way.
[[nodiscard]] bool AppendAsMarkup(pugi::xml_node element, std::span<const Leaf> leaves);

}  // namespace quillmark::portable
