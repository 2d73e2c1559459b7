// SPDX-License-Identifier: MIT
#include "platform/portable/tree_edits.h"

namespace quillmark::portable {
namespace {

void AppendAttribute(pugi::xml_node element, const char* name, std::string_view value) {
  pugi::xml_attribute added = element.append_attribute("");
  RequireMemory(!added.empty());
  if (!added.set_name(name) || !added.set_value(value.data(), value.size())) {
    element.remove_attribute(added);
    RequireMemory(false);
  }
}

void CopyNameAndAttributes(pugi::xml_node target, pugi::xml_node source) {
  SetName(target, source.name());
  for (const pugi::xml_attribute attribute : source.attributes()) {
    AppendAttribute(target, attribute.name(), attribute.value());
  }
}

/// Walks through the nodes below `source` and appends a copy of each at its place below `target`.
void CopyChildren(pugi::xml_node target, pugi::xml_node source) {
  pugi::xml_node from = source.first_child();
  pugi::xml_node parent = target;
  while (from) {
    const pugi::xml_node copy = AppendShallowCopy(parent, from);
    if (from.first_child()) {
      from = from.first_child();
      parent = copy;
      continue;
    }
    while (from != source && !from.next_sibling()) {
      from = from.parent();
      parent = parent.parent();
    }
    from = from == source ? pugi::xml_node() : from.next_sibling();
  }
}

}  // namespace

NodeType TypeOf(pugi::xml_node node) {
  switch (node.type()) {
    case pugi::node_pcdata:
      return NodeType::kText;
    case pugi::node_cdata:
      return NodeType::kCDataSection;
    case pugi::node_comment:
      return NodeType::kComment;
    case pugi::node_pi:
      return NodeType::kProcessingInstruction;
    default:
      break;
  }
  const char* const text = node.name();
  if (*text != '#') {
    return NodeType::kElement;
  }
  const std::string_view name = text;
  if (name == kContentName) {
    return NodeType::kDocument;
  }
  return name == kFragmentName ? NodeType::kDocumentFragment : NodeType::kElement;
}

bool IsWithin(pugi::xml_node node, pugi::xml_node ancestor) {
  while (node && node != ancestor) {
    node = node.parent();
  }
  return !node.empty();
}

pugi::xml_node AppendNew(pugi::xml_node parent, pugi::xml_node_type type) {
  const pugi::xml_node node = parent.append_child(type);
  RequireMemory(!node.empty());
  return node;
}

void SetName(pugi::xml_node node, const char* name) { RequireMemory(node.set_name(name)); }

void SetValue(pugi::xml_node node, std::string_view value) {
  RequireMemory(node.set_value(value.data(), value.size()));
}

void SetAttribute(pugi::xml_node element, const char* name, std::string_view value) {
  pugi::xml_attribute present = element.attribute(name);
  if (present.empty()) {
    AppendAttribute(element, name, value);
    return;
  }
  RequireMemory(present.set_value(value.data(), value.size()));
}

pugi::xml_node AppendShallowCopy(pugi::xml_node parent, pugi::xml_node source) {
  NewNode copy(AppendNew(parent, source.type()));
  if (source.type() == pugi::node_element) {
    CopyNameAndAttributes(copy.get(), source);
    return copy.Keep();
  }
  if (source.type() == pugi::node_pi) {
    SetName(copy.get(), source.name());
  }
  SetValue(copy.get(), source.value());
  return copy.Keep();
}

void AppendCopiesOfChildren(pugi::xml_node target, pugi::xml_node source) {
  AppendAllOrNothing(target, [&] { CopyChildren(target, source); });
}

void MoveChildren(pugi::xml_node target, pugi::xml_node source) {
  while (const pugi::xml_node child = source.first_child()) {
    target.append_move(child);
  }
}

void Destroy(pugi::xml_node node) {
  pugi::xml_node at = node;
  while (true) {
    while (const pugi::xml_node child = at.first_child()) {
      at = child;
    }
    pugi::xml_node parent = at.parent();
    parent.remove_child(at);
    if (at == node) {
      return;
    }
    at = parent;
  }
}

}  // namespace quillmark::portable
