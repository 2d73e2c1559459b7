// SPDX-License-Identifier: MIT
#include "platform/portable/xml_reader.h"

#include <string>

#include "platform/portable/tree_edits.h"
#include "platform/portable/xml_lexis.h"
#include "platform/portable/xml_well_formed.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kDeclaration = "<?xml";

constexpr unsigned int kAsXmlSays = pugi::parse_pi | pugi::parse_comments | pugi::parse_cdata |
                                    pugi::parse_ws_pcdata | pugi::parse_escapes |
                                    pugi::parse_wconv_attribute;

/// Done before the parse, as XML demands, since the library does not change processing
/// instructions.
std::string NormalizeLineEnds(std::string_view raw) {
  std::string text;
  text.reserve(raw.size());
  for (std::size_t at = 0; at < raw.size(); ++at) {
    const bool is_pair = raw.substr(at).starts_with("\r\n");
    if (!is_pair) {
      text.push_back(raw[at] == '\r' ? '\n' : raw[at]);
    }
  }
  return text;
}

bool BeginsWithDeclaration(std::string_view text) {
  return text.starts_with(kDeclaration) && NameLength(text.substr(2)) == kDeclaration.size() - 2;
}

/// Appends the declaration at the beginning of `text` and returns what follows it. The library
/// would parse it as attributes and not preserve the text.
std::string_view AppendDeclaration(pugi::xml_node parent, std::string_view text) {
  const std::size_t end = text.find("?>");
  const std::size_t data = text.find_first_not_of(kBlanks, kDeclaration.size());
  const pugi::xml_node node = AppendNew(parent, pugi::node_pi);
  SetName(node, "xml");
  SetValue(node, text.substr(data, end - data));
  return text.substr(end + 2);
}

/// Appends the nodes of a well-formed text whose line ends are line feeds.
void AppendNodes(pugi::xml_node parent, std::string_view text) {
  if (text.starts_with(kByteOrderMark)) {
    text.remove_prefix(kByteOrderMark.size());
  }
  if (BeginsWithDeclaration(text)) {
    text = AppendDeclaration(parent, text);
  }
  if (!parent.append_buffer(text.data(), text.size(), kAsXmlSays, pugi::encoding_utf8)) {
    // The text is well-formed, so only memory can be missing.
    throw Error(error_number::kOutOfMemory);
  }
}

}  // namespace

void ReadXml(std::string_view text, pugi::xml_node parent) {
  RequireWellFormed(text);
  if (text.find('\r') == std::string_view::npos) {
    return AppendNodes(parent, text);
  }
  AppendNodes(parent, NormalizeLineEnds(text));
}

}  // namespace quillmark::portable
