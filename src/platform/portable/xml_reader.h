#pragma once

#include <pugixml.hpp>
#include <string_view>

namespace quillmark::portable {

/// Parses `text`, a whole XML document in UTF-8, and appends its nodes to `parent`.
///
/// Keeps white space, comments, CDATA sections, processing instructions and the data of the XML
/// declaration (as a processing instruction "xml"). Line ends become a single line feed; a
/// character reference stays what it says. Document type declarations are refused, and so there are
/// no entities but the five predefined ones.
///
/// Raises 13 with the reason and the offset in bytes where the text is not well formed; what was
/// appended by then is the caller's to remove.
void ReadXml(std::string_view text, pugi::xml_node parent);

}  // namespace quillmark::portable
