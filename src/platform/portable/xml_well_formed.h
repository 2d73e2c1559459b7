// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

/// What the XML library does not check of a document that it parses.
namespace quillmark::portable {

/// Raises 13 with the reason and the offset in bytes.
[[noreturn]] void RaiseMalformed(const std::string& reason, std::size_t offset);

/// Raises 13 if the text is not UTF-8 or has a character that XML does not allow.
void RequireXmlCharacters(std::string_view text);

/// Checks the nodes that were parsed from a text. References, and what must be written as one, are
/// looked for in the text itself, at the place that the node came from.
class WellFormed {
 public:
  /// `first` is the first of the nodes, which have no others after them; empty: there are none.
  /// None of them was changed since they were parsed.
  WellFormed(std::string_view text, pugi::xml_node first);

  /// Raises 13 if what stands beside the one root element may not stand there.
  void RequireOneRoot() const;
  /// These raise 13 for a node that is not well-formed.
  void RequireText(pugi::xml_node node) const {
    if (!any_text_will_do_) {
      RequireTextAsWritten(node);
    }
  }
  void RequireComment(pugi::xml_node comment) const;
  void RequireAttributes(pugi::xml_node element) const;

  /// False where elements without attributes and texts without references alone follow; they need
  /// no check.
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
  bool any_text_will_do_;  ///< nothing in the document has to be written otherwise
};

}  // namespace quillmark::portable
