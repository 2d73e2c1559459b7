// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <string_view>
#include <vector>

namespace quillmark::portable {

/// The nodes that an XSL Pattern selects, seen from `context`; `document` is where paths from the
/// root begin. Raises the error of `RaisePatternError` for a bad path and for one that gives a
/// value or attributes instead of nodes.
[[nodiscard]] std::vector<pugi::xml_node> SelectAll(pugi::xml_node context, pugi::xml_node document,
                                                    std::string_view pattern);

/// The first of these nodes in document order; an empty one where there is none.
[[nodiscard]] pugi::xml_node SelectFirst(pugi::xml_node context, pugi::xml_node document,
                                         std::string_view pattern);

}  // namespace quillmark::portable
