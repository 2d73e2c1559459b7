// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

/// What the XML library does not check in a document that it parses.
namespace quillmark::portable {

/// Raises 13 with the reason and the offset in bytes.
[[noreturn]] void RaiseMalformed(const std::string& reason, std::size_t offset);

/// Raises 13 if the text is not UTF-8 or has a character that XML does not allow.
void RequireXmlCharacters(std::string_view text);

/// Checks the nodes that were parsed from a text. References, and characters that must be written
/// as references, are looked up in the text itself, at the position that the node came from.
class WellFormed {
 public:
  /// `first` is the first of the nodes, which are the last of their parent; empty if there are
  /// none. They have not been changed since they were parsed.
  WellFormed(std::string_view text, pugi::xml_node first);

  /// Raises 13 if there is not exactly one root element, or something not allowed beside it.
  void RequireOneRoot() const;
  /// These raise 13 for a node that is not well-formed.
  void RequireText(pugi::xml_node node) const {
    if (!any_text_will_do_) {
      RequireTextAsWritten(node);
    }
  }
  void RequireComment(pugi::xml_node comment) const;
  void RequireAttributes(pugi::xml_node element) const;

  /// False if only elements without attributes and texts without references follow, which need no
  /// check.
  [[nodiscard]] bool HasMoreToCheckAfter(pugi::xml_node element) const {
    return OffsetOf(element) < marks_end_;
  }

 private:
  [[nodiscard]] std::size_t OffsetOf(const char* parsed) const;
  [[nodiscard]] std::size_t OffsetOf(pugi::xml_node node) const;
  void RequireFitsTop(pugi::xml_node node) const;
  void RequireTextAsWritten(pugi::xml_node node) const;
  void RequireDistinctNames(pugi::xml_node element) const;

  std::string_view text_;
  pugi::xml_node first_;
  const char* first_place_;
  std::size_t first_offset_;
  std::size_t marks_end_;
  bool any_text_will_do_;  ///< the document has no reference and no "]]>"
};

}  // namespace quillmark::portable
