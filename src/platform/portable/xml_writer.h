// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <string>

namespace quillmark::portable {

/// The serialised node, of a document or a fragment its children, with nothing added: no
/// indentation, no declaration, line ends as they are.
[[nodiscard]] std::string WriteXml(pugi::xml_node node);

}  // namespace quillmark::portable
