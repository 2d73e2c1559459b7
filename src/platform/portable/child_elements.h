// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>

/// Child elements by name. A processing instruction with the same name is skipped.
namespace quillmark::portable {

/// `node` if it is an element, otherwise the next sibling element called `name`.
[[nodiscard]] inline pugi::xml_node ElementFrom(pugi::xml_node node, const char* name) {
  while (node.type() != pugi::node_element && node) {
    node = node.next_sibling(name);
  }
  return node;
}

/// An empty node if there is none.
[[nodiscard]] inline pugi::xml_node FirstChildElement(pugi::xml_node parent, const char* name) {
  return ElementFrom(parent.child(name), name);
}

[[nodiscard]] inline pugi::xml_node NextElement(pugi::xml_node element, const char* name) {
  return ElementFrom(element.next_sibling(name), name);
}

}  // namespace quillmark::portable
