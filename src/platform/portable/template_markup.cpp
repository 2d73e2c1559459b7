// SPDX-License-Identifier: MIT
#include "platform/portable/template_markup.h"

#include <algorithm>

#include "platform/portable/tree_edits.h"

namespace quillmark::portable {
namespace {

/// Beyond this a template is no small one, and is copied node by node.
constexpr std::size_t kMaxDepth = 16;

bool IsText(pugi::xml_node node) { return node.type() == pugi::node_pcdata; }

}  // namespace

std::optional<TemplateMarkup> TemplateMarkup::Of(pugi::xml_node fragment) {
  TemplateMarkup markup;
  if (IsText(fragment.first_child())) {
    return std::nullopt;
  }
  for (const pugi::xml_node top : fragment.children()) {
    if (!markup.AddNode(top)) {
      return std::nullopt;
    }
    ++markup.top_count_;
  }
  return markup.has_text_ ? std::optional(std::move(markup)) : std::nullopt;
}

bool TemplateMarkup::AddNode(pugi::xml_node node) {
  if (IsText(node)) {
    return AddText(node);
  }
  return node.type() == pugi::node_element && depth_ < kMaxDepth && AddElement(node);
}

bool TemplateMarkup::AddText(pugi::xml_node text) {
  if (IsText(text.previous_sibling())) {
    return false;
  }
  if (!has_text_) {
    has_text_ = true;
    text_depth_ = depth_;
    return !text.previous_sibling();
  }
  const std::string_view value = text.value();
  after_ += value;
  return !value.empty() && value.find_first_of("<&") == std::string_view::npos;
}

bool TemplateMarkup::AddElement(pugi::xml_node element) {
  if (element.first_attribute() || (!has_text_ && element.previous_sibling())) {
    return false;
  }
  const std::string name = element.name();
  tag_count_ += 2;
  (has_text_ ? after_ : before_) += "<" + name + ">";
  ++depth_;
  for (const pugi::xml_node child : element.children()) {
    if (!AddNode(child)) {
      return false;
    }
  }
  --depth_;
  (has_text_ ? after_ : before_) += "</" + name + ">";
  return true;
}

char* TemplateMarkup::WriteCopy(char* to, std::string_view text) const {
  for (const std::string_view part :
       {std::string_view(before_), InMarkup(text), std::string_view(after_)}) {
    to = std::copy(part.begin(), part.end(), to);
  }
  return to;
}

void TemplateMarkup::SetText(pugi::xml_node top, std::string_view text) const {
  for (std::size_t level = 0; level < text_depth_; ++level) {
    top = top.first_child();
  }
  SetValue(top, text);
}

pugi::xml_node TemplateMarkup::After(pugi::xml_node top) const {
  for (std::size_t part = 0; part < top_count_; ++part) {
    top = top.next_sibling();
  }
  return top;
}

void AppendMarkup(pugi::xml_node target, const std::string& markup) {
  // Nothing is converted: names and texts come out as they went in.
  constexpr unsigned kLiteral = pugi::parse_minimal | pugi::parse_ws_pcdata | pugi::parse_fragment;
  const auto result =
      target.append_buffer(markup.data(), markup.size(), kLiteral, pugi::encoding_utf8);
  RequireMemory(static_cast<bool>(result));
}

}  // namespace quillmark::portable
