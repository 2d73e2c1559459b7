// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "platform/windows/msxml_nodes.h"

namespace quillmark::windows {

/// Visits a node and all that it contains in document order: `enter` before the children of a node,
/// `leave` after them. If `enter` returns false, the children are skipped. The depth is limited
/// only by memory.
template <typename Enter, typename Leave>
void Walk(NodePtr node, Enter enter, Leave leave) {
  Nodes open;
  while (node) {
    NodePtr next = enter(*node) ? FirstChildOf(*node) : NodePtr();
    if (next) {
      open.push_back(std::exchange(node, std::move(next)));
      continue;
    }
    leave(*node);
    while (!open.empty() && !(next = NextSiblingOf(*node))) {
      node = std::move(open.back());
      open.pop_back();
      leave(*node);
    }
    node = std::move(next);
  }
}

}  // namespace quillmark::windows
