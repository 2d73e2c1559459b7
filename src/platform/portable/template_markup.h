// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace quillmark::portable {

/// A template as markup around its first text. To parse a row of copies takes a quarter of the
/// instructions that it takes to make them node by node.
///
/// Only for templates whose copies come out of the parser as they are: elements without attributes,
/// texts that need no escape and do not meet; the first text below nothing but first children.
class TemplateMarkup {
 public:
  /// Nothing for any other template.
  [[nodiscard]] static std::optional<TemplateMarkup> Of(pugi::xml_node fragment);

  /// Whether a place holder stands for `text` in the markup: for an empty one, which a parser would
  /// not make a node of, and for a long one, which it would look at character by character, a fifth
  /// of the instructions of a K line download.
  [[nodiscard]] static bool IsApart(std::string_view text) {
    return text.empty() || text.size() > kLong;
  }

  /// Writes the markup of a copy, `SizeOf` characters; returns its end.
  char* WriteCopy(char* to, std::string_view text) const;
  [[nodiscard]] std::size_t SizeOf(std::string_view text) const {
    return before_.size() + InMarkup(text).size() + after_.size();
  }

  /// Number of tags in the markup of a copy; its text must bring no other.
  [[nodiscard]] std::size_t tag_count() const { return tag_count_; }

  /// Puts `text` in the place holder of the copy that begins with `top`.
  void SetText(pugi::xml_node top, std::string_view text) const;

  /// The first node after the copy that begins with `top`.
  [[nodiscard]] pugi::xml_node After(pugi::xml_node top) const;

 private:
  static constexpr std::size_t kLong = 64;

  /// `text` or its place holder.
  [[nodiscard]] static std::string_view InMarkup(std::string_view text) {
    return IsApart(text) ? "-" : text;
  }

  bool AddNode(pugi::xml_node node);
  bool AddText(pugi::xml_node text);
  bool AddElement(pugi::xml_node element);

  std::string before_;
  std::string after_;
  bool has_text_ = false;
  std::size_t top_count_ = 0;
  std::size_t tag_count_ = 0;
  std::size_t depth_ = 0;       ///< of the node that is being added
  std::size_t text_depth_ = 0;  ///< of the first text
};

/// Parses what `WriteCopy` has made and appends it to `target`. Raises 7 half-way.
void AppendMarkup(pugi::xml_node target, const std::string& markup);

}  // namespace quillmark::portable
