// SPDX-License-Identifier: MIT
#include "platform/portable/xml_reader.h"

#include <string>

#include "platform/portable/tree_edits.h"
#include "platform/portable/xml_lexis.h"
#include "platform/portable/xml_well_formed.h"

namespace quillmark::portable {
namespace {

/// Every node is kept, also before and after the root element, where not all are allowed.
constexpr unsigned int kAsXmlSays =
    pugi::parse_fragment | pugi::parse_declaration | pugi::parse_doctype | pugi::parse_pi |
    pugi::parse_comments | pugi::parse_cdata | pugi::parse_ws_pcdata | pugi::parse_escapes |
    pugi::parse_eol | pugi::parse_wconv_attribute;

/// The position of a parse error. For a comment or a CDATA section without an end, the library
/// gives its beginning; what is missing is missing at the end of the text.
std::size_t OffsetOf(const pugi::xml_parse_result& failure, std::string_view text) {
  const auto offset = static_cast<std::size_t>(failure.offset);
  const std::string_view before = text.substr(0, offset);
  const bool is_unfinished = before.ends_with("<!--") || before.ends_with("<![CDATA[");
  return is_unfinished ? text.size() - 1 : offset;
}

/// Appends the nodes and returns the first of them.
pugi::xml_node Parse(std::string_view text, pugi::xml_node document) {
  const pugi::xml_node last_before = document.last_child();
  const pugi::xml_parse_result result =
      document.append_buffer(text.data(), text.size(), kAsXmlSays, pugi::encoding_utf8);
  RequireMemory(result.status != pugi::status_out_of_memory);
  if (!result) {
    RaiseMalformed(result.description(), OffsetOf(result, text));
  }
  return last_before ? last_before.next_sibling() : document.first_child();
}

std::string WithLineFeeds(std::string_view raw) {
  std::string text;
  for (std::size_t at = 0; at < raw.size(); ++at) {
    const bool is_pair = raw.substr(at).starts_with("\r\n");
    if (!is_pair) {
      text.push_back(raw[at] == '\r' ? '\n' : raw[at]);
    }
  }
  return text;
}

/// The library does not change processing instructions.
void NormalizeLineEnds(pugi::xml_node instruction) {
  const std::string_view data = instruction.value();
  if (data.find('\r') != std::string_view::npos) {
    SetValue(instruction, WithLineFeeds(data));
  }
}

/// Replaces the XML declaration of `text`, which the library has parsed as attributes, by a
/// processing instruction with its text.
void ReplaceDeclaration(pugi::xml_node declaration, std::string_view text) {
  const std::size_t end = text.find("?>");
  const std::size_t name_end = text.find("<?xml") + std::string_view("<?xml").size();
  const std::size_t data = text.find_first_not_of(kBlanks, name_end);
  pugi::xml_node document = declaration.parent();
  const pugi::xml_node instruction = document.insert_child_before(pugi::node_pi, declaration);
  RequireMemory(!instruction.empty());
  SetName(instruction, "xml");
  SetValue(instruction, WithLineFeeds(text.substr(data, end - data)));
  document.remove_child(declaration);
}

/// Checks the nodes in document order and completes the instructions, until there is nothing left
/// to do. The library's own traversal takes a third of the time of a loop outside of it.
class Completion final : public pugi::xml_tree_walker {
 public:
  explicit Completion(const WellFormed& nodes) : nodes_(nodes) {}

  bool for_each(pugi::xml_node& node) override {
    switch (node.type()) {
      case pugi::node_element:
        nodes_.RequireAttributes(node);
        return nodes_.HasMoreToCheckAfter(node);
      case pugi::node_pcdata:
        nodes_.RequireText(node);
        return true;
      case pugi::node_comment:
        nodes_.RequireComment(node);
        return true;
      case pugi::node_pi:
        NormalizeLineEnds(node);
        return true;
      default:
        return true;
    }
  }

 private:
  const WellFormed& nodes_;
};

}  // namespace

void ReadXml(std::string_view text, pugi::xml_node document) {
  RequireXmlCharacters(text);
  const pugi::xml_node first = Parse(text, document);
  const WellFormed nodes(text, first);
  nodes.RequireOneRoot();
  Completion completion(nodes);
  for (pugi::xml_node top = first; top; top = top.next_sibling()) {
    if (completion.for_each(top)) {
      top.traverse(completion);
    }
  }
  if (first.type() == pugi::node_declaration) {
    ReplaceDeclaration(first, text);
  }
}

}  // namespace quillmark::portable
