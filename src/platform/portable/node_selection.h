// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "platform/portable/document_tree.h"

namespace quillmark::portable {

/// The nodes that an XSL Pattern selects, relative to `context`. Raises the error of
/// `RaisePatternError` for an invalid path and for one that selects a value or attributes instead
/// of nodes.
[[nodiscard]] std::vector<pugi::xml_node> SelectAll(const NodeHandle& context,
                                                    std::string_view pattern);

/// The first of these nodes in document order; an empty one if there is none.
[[nodiscard]] pugi::xml_node SelectFirst(const NodeHandle& context, std::string_view pattern);

}  // namespace quillmark::portable
