// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/portable/tree_edits.h"
#include "platform/portable/tree_operations.h"
#include "platform/portable/xml_lexis.h"

namespace quillmark::portable {
namespace {

/// Whether a place holder stands for a text in the markup: for an empty one, of which a parser
/// would not make a node, and for a long one, which it would read character by character, a fifth
/// of the instructions of a K line download.
bool IsApart(std::string_view text) {
  constexpr std::size_t kLong = 64;
  return text.empty() || text.size() > kLong;
}

/// How often `c` occurs in `text`. Counted in bytes, many of which fit into a vector: 7 % of the
/// instructions of a plain CAN download.
std::size_t CountOf(char c, std::string_view text) {
  constexpr std::size_t kPartSize = 240;  // the most that a byte can count
  std::size_t count = 0;
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), kPartSize))) {
    std::uint8_t in_part = 0;
    for (const char other : text.substr(0, kPartSize)) {
      in_part = static_cast<std::uint8_t>(in_part + (other == c ? 1 : 0));
    }
    count += in_part;
  }
  return count;
}

bool HasNul(std::string_view text) { return text.find('\0') != std::string_view::npos; }

/// The markup around the text of leaves with one name and child.
struct Shape {
  Shape(std::string_view leaf_name, std::string_view leaf_child)
      : name(leaf_name), child(leaf_child) {
    Add(name);
    if (!child.empty()) {
      Add(child);
    }
    after += kLineEnd;
  }

  std::string_view name;
  std::string_view child;
  std::string before;
  std::string after;
  std::size_t tag_count = 0;

 private:
  void Add(std::string_view tag) {
    RequireName(tag);
    before.append("<").append(tag).append(">");
    after.insert(0, std::string("</").append(tag).append(">"));
    tag_count += 2;
  }
};

class Row {
 public:
  /// False if a text cannot be told apart from markup.
  bool Write(std::span<const Leaf> leaves) {
    constexpr std::size_t kUsualSize = 32;  // of a CAN frame with its tags
    markup_.reserve(kUsualSize * leaves.size());
    for (const Leaf& leaf : leaves) {
      const Shape& shape = ShapeOf(leaf);
      const bool is_apart = IsApart(leaf.text);
      if (is_apart && HasNul(leaf.text)) {
        return false;
      }
      has_apart_ = has_apart_ || is_apart;
      tag_count_ += shape.tag_count;
      markup_.append(shape.before).append(is_apart ? "-" : leaf.text).append(shape.after);
    }
    return CountOf('<', markup_) == tag_count_ && markup_.find('&') == std::string::npos &&
           !HasNul(markup_);
  }

  void AppendTo(pugi::xml_node element, std::span<const Leaf> leaves) const {
    // Nothing is converted: names and texts are kept as they are.
    constexpr unsigned kLiteral =
        pugi::parse_minimal | pugi::parse_ws_pcdata | pugi::parse_fragment;
    const pugi::xml_node last_before = element.last_child();
    RequireMemory(static_cast<bool>(
        element.append_buffer(markup_.data(), markup_.size(), kLiteral, pugi::encoding_utf8)));
    if (has_apart_) {
      SetTextsApart(last_before ? last_before.next_sibling() : element.first_child(), leaves);
    }
  }

 private:
  /// A row has few kinds of leaves, mostly the previous one.
  const Shape& ShapeOf(const Leaf& leaf) {
    const auto known = std::find_if(shapes_.rbegin(), shapes_.rend(), [&](const Shape& shape) {
      return shape.name == leaf.name && shape.child == leaf.child;
    });
    return known != shapes_.rend() ? *known : shapes_.emplace_back(leaf.name, leaf.child);
  }

  static void SetTextsApart(pugi::xml_node element, std::span<const Leaf> leaves) {
    for (const Leaf& leaf : leaves) {
      if (IsApart(leaf.text)) {
        const pugi::xml_node holder = leaf.child.empty() ? element : element.first_child();
        SetValue(holder.first_child(), leaf.text);
      }
      const pugi::xml_node line_end = element.next_sibling();
      element = line_end.next_sibling();
    }
  }

  std::vector<Shape> shapes_;
  std::string markup_;
  std::size_t tag_count_ = 0;
  bool has_apart_ = false;
};

/// Parses the row: a quarter of the instructions that it takes to create the nodes one by one.
/// False, and nothing appended, if markup cannot hold a text as it is.
bool AppendAsMarkup(pugi::xml_node element, std::span<const Leaf> leaves) {
  Row row;
  if (!row.Write(leaves)) {
    return false;
  }
  row.AppendTo(element, leaves);
  return true;
}

pugi::xml_node AppendElement(pugi::xml_node parent, std::string_view name) {
  RequireName(name);
  const pugi::xml_node element = AppendNew(parent, pugi::node_element);
  SetName(element, std::string(name).c_str());
  return element;
}

void AppendText(pugi::xml_node parent, std::string_view text) {
  RequireNoNul(text);
  SetValue(AppendNew(parent, pugi::node_pcdata), text);
}

void AppendAsNodes(pugi::xml_node element, std::span<const Leaf> leaves) {
  for (const Leaf& leaf : leaves) {
    const pugi::xml_node named = AppendElement(element, leaf.name);
    AppendText(leaf.child.empty() ? named : AppendElement(named, leaf.child), leaf.text);
    AppendText(element, kLineEnd);
  }
}

}  // namespace

void AppendLeaves(pugi::xml_node element, std::span<const Leaf> leaves) {
  // The parser's own preparations take as long as the nodes of a few leaves.
  constexpr std::size_t kWorthParsing = 16;
  AppendAllOrNothing(element, [&] {
    if (leaves.size() < kWorthParsing || !AppendAsMarkup(element, leaves)) {
      AppendAsNodes(element, leaves);
    }
  });
}

}  // namespace quillmark::portable
