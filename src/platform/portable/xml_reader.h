// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <string_view>

namespace quillmark::portable {

/// Parses `text`, a whole XML document in UTF-8, and appends its nodes to `parent`, an element.
///
/// Keeps white space, comments, CDATA sections, processing instructions and the data of the XML
/// declaration (as a processing instruction "xml"). Line ends become a single line feed; a
/// character reference keeps its character.
///
/// Raises 13 as `RequireWellFormed` does, before anything is appended. Raises 7 if memory is
/// missing; the caller then removes what had been appended.
void ReadXml(std::string_view text, pugi::xml_node parent);

}  // namespace quillmark::portable
