// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <span>

#include "quillmark/dom.h"

namespace quillmark::portable {

/// Appends a row of leaves, all or none, as `IXMLDOMElement::appendLeaves` says.
void AppendLeaves(pugi::xml_node element, std::span<const Leaf> leaves);

}  // namespace quillmark::portable
