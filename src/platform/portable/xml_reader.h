// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <string_view>

namespace quillmark::portable {

/// Parses `text`, a whole XML document in UTF-8, and appends its nodes to `document`.
///
/// Keeps white space, comments, CDATA sections, processing instructions and the data of the XML
/// declaration (as a processing instruction "xml"). Line ends become a single line feed; a
/// character reference keeps its character.
///
/// Raises 13 with the reason and the offset in bytes if the text is not a well-formed document.
/// Document type declarations are refused as well, and so the only entities are the five predefined
/// ones. Raises 7 if memory is missing. In either case the caller removes what was appended.
void ReadXml(std::string_view text, pugi::xml_node document);

}  // namespace quillmark::portable
