// SPDX-License-Identifier: MIT
#include "platform/portable/document_tree.h"

#include "base/hex.h"

namespace quillmark::portable {
namespace {

pugi::xml_node AppendTop(pugi::xml_document& nodes, const char* name) {
  const pugi::xml_node node = AppendNew(nodes, pugi::node_element);
  SetName(node, name);
  return node;
}

/// The next node in document order; an empty one after the last.
pugi::xml_node NodeAfter(pugi::xml_node node) {
  if (node.first_child()) {
    return node.first_child();
  }
  while (node && !node.next_sibling()) {
    node = node.parent();
  }
  return node.next_sibling();
}

}  // namespace

DocumentTree::DocumentTree(Kind kind)
    : kind_(kind),
      content_(AppendTop(nodes_, kContentName)),
      detached_(AppendTop(nodes_, kDetachedName)) {}

const SharedBytes* DocumentTree::BytesIn(pugi::xml_node node) const {
  const auto found = bytes_.find(node);
  return found == bytes_.end() ? nullptr : &found->second;
}

SpelledOut::SpelledOut(const DocumentTree& tree) {
  const pugi::xml_node root = tree.content().root();
  AppendCopiesOfChildren(nodes_, root);
  pugi::xml_node copy = nodes_;
  for (pugi::xml_node node = root; node; node = NodeAfter(node), copy = NodeAfter(copy)) {
    copies_.emplace(node, copy);
    originals_.emplace(copy, node);
    if (const SharedBytes* const bytes = tree.BytesIn(node)) {
      SetValue(copy, HexOf(bytes->View()));
    }
  }
}

}  // namespace quillmark::portable
