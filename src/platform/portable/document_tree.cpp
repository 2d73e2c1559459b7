// SPDX-License-Identifier: MIT
#include "platform/portable/document_tree.h"

namespace quillmark::portable {
namespace {

pugi::xml_node AppendTop(pugi::xml_document& nodes, const char* name) {
  const pugi::xml_node node = AppendNew(nodes, pugi::node_element);
  SetName(node, name);
  return node;
}

}  // namespace

DocumentTree::DocumentTree(Kind kind)
    : kind_(kind),
      content_(AppendTop(nodes_, kContentName)),
      detached_(AppendTop(nodes_, kDetachedName)) {}

}  // namespace quillmark::portable
