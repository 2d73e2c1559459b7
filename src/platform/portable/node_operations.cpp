// SPDX-License-Identifier: MIT
#include "platform/portable/node_operations.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "platform/portable/child_elements.h"
#include "platform/portable/template_markup.h"
#include "platform/portable/xml_lexis.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

[[noreturn]] void RaiseMismatch(const char* reason) {
  throw Error(error_number::kTypeMismatch, reason);
}

bool IsLeaf(NodeType type) {
  switch (type) {
    case NodeType::kText:
    case NodeType::kCDataSection:
    case NodeType::kComment:
    case NodeType::kProcessingInstruction:
      return true;
    default:
      return false;
  }
}

/// Raises 13 for what would end a comment or a processing instruction early.
void RequireValueOf(NodeType type, std::string_view value) {
  RequireNoNul(value);
  if (type == NodeType::kComment && !FitsComment(value)) {
    RaiseMismatch("A comment cannot hold \"--\" nor end with \"-\"");
  }
  if (type == NodeType::kProcessingInstruction && value.find("?>") != std::string_view::npos) {
    RaiseMismatch("A processing instruction cannot hold \"?>\"");
  }
}

pugi::xml_node_type TreeTypeOf(NodeType type) {
  switch (type) {
    case NodeType::kElement:
    case NodeType::kDocumentFragment:
      return pugi::node_element;
    case NodeType::kText:
      return pugi::node_pcdata;
    case NodeType::kCDataSection:
      return pugi::node_cdata;
    case NodeType::kComment:
      return pugi::node_comment;
    case NodeType::kProcessingInstruction:
      return pugi::node_pi;
    default:
      RaiseMismatch("Nodes of this type cannot be created");
  }
}

/// Calls `read` with what `readChildTexts` tells of a part, which may be missing.
void ReadPart(pugi::xml_node part, const std::function<void(const ChildText&)>& read) {
  const pugi::xml_node content = part.first_child();
  switch (content.type()) {
    case pugi::node_null:
      return read({part ? ChildText::State::kEmptyPart : ChildText::State::kNoPart, {}});
    case pugi::node_element: {
      const std::string text = TextOf(content);
      return read({ChildText::State::kText, text});
    }
    default:
      return read({ChildText::State::kText, content.value()});
  }
}

void RequireOneElement(pugi::xml_node fragment) {
  const auto is_element = [](pugi::xml_node n) { return n.type() == pugi::node_element; };
  if (std::count_if(fragment.begin(), fragment.end(), is_element) > 1) {
    RaiseMismatch("A document has one root element");
  }
}

/// A document holds one element, and beside it comments, processing instructions and white space.
void RequireFitsDocument(const DocumentTree& tree, pugi::xml_node child) {
  const NodeType type = TypeOf(child);
  const pugi::xml_node root = RootElementOf(tree.content());
  if (type == NodeType::kElement && root && root != child) {
    RaiseMismatch("A document has one root element");
  }
  const bool is_blank = IsBlank(child.value()) && tree.BytesIn(child) == nullptr;
  if (type == NodeType::kCDataSection || (type == NodeType::kText && !is_blank)) {
    RaiseMismatch(kTextOutside);
  }
}

void RequireFits(const DocumentTree& tree, pugi::xml_node parent, pugi::xml_node child) {
  if (IsLeaf(TypeOf(parent))) {
    RaiseMismatch("The node can have no children");
  }
  if (TypeOf(child) == NodeType::kDocument) {
    RaiseMismatch("A document cannot be a child");
  }
  if (IsWithin(parent, child)) {
    RaiseMismatch("A node cannot stand below itself");
  }
  if (TypeOf(parent) != NodeType::kDocument) {
    return;
  }
  if (TypeOf(child) != NodeType::kDocumentFragment) {
    RequireFitsDocument(tree, child);
    return;
  }
  RequireOneElement(child);
  for (const pugi::xml_node part : child.children()) {
    RequireFitsDocument(tree, part);
  }
}

}  // namespace

pugi::xml_node RootElementOf(pugi::xml_node document) {
  return document.find_child([](pugi::xml_node n) { return n.type() == pugi::node_element; });
}

std::string NameOf(pugi::xml_node node) {
  switch (TypeOf(node)) {
    case NodeType::kText:
      return "#text";
    case NodeType::kCDataSection:
      return "#cdata-section";
    case NodeType::kComment:
      return "#comment";
    case NodeType::kDocumentFragment:
      return "#document-fragment";
    default:
      return node.name();
  }
}

std::string TextOf(pugi::xml_node node) {
  if (IsLeaf(TypeOf(node))) {
    return node.value();
  }
  std::string text;
  static_cast<void>(node.find_node([&](pugi::xml_node below) {
    if (below.type() == pugi::node_pcdata || below.type() == pugi::node_cdata) {
      text.append(below.value());
    }
    return false;
  }));
  return text;
}

void ReadChildTexts(pugi::xml_node node, std::string_view name, std::string_view part,
                    const std::function<void(const ChildText&)>& read) {
  RequireName(name);
  RequireName(part);
  const std::string child_name(name);
  const std::string part_name(part);
  const char* const called = child_name.c_str();
  for (auto child = FirstChildElement(node, called); child; child = NextElement(child, called)) {
    ReadPart(FirstChildElement(child, part_name.c_str()), read);
  }
}

std::string ValueOf(const NodeHandle& handle) {
  const SharedBytes* const bytes = handle.tree->BytesIn(handle.node);
  return bytes == nullptr ? handle.node.value() : HexOf(bytes->View());
}

void ReplaceValue(const NodeHandle& handle, std::string_view value) {
  const NodeType type = TypeOf(handle.node);
  if (!IsLeaf(type)) {
    RaiseMismatch("The node has no value");
  }
  RequireValueOf(type, value);
  const bool is_outside = TypeOf(handle.node.parent()) == NodeType::kDocument;
  if (is_outside && type == NodeType::kText && !IsBlank(value)) {
    RaiseMismatch(kTextOutside);
  }
  SetValue(handle.node, value);
  handle.tree->DropBytes(handle.node);
}

void ReplaceValueByBytes(const NodeHandle& handle, SharedBytes bytes) {
  const bool is_outside = TypeOf(handle.node.parent()) == NodeType::kDocument;
  if (TypeOf(handle.node) != NodeType::kText || is_outside || bytes.View().empty()) {
    ReplaceValue(handle, HexOf(bytes.View()));
    return;
  }
  handle.tree->HoldBytes(handle.node, std::move(bytes));
  SetValue(handle.node, {});
}

void ReplaceText(const NodeHandle& handle, std::string_view text) {
  if (IsLeaf(TypeOf(handle.node))) {
    ReplaceValue(handle, text);
    return;
  }
  const NodeHandle node = CreateNode(handle.tree, NodeType::kText, "", text);
  if (TypeOf(handle.node) == NodeType::kDocument) {
    RaiseMismatch(kTextOutside);
  }
  MoveChildren(handle.tree->detached(), handle.node);
  AppendNode(handle, node);
}

NodeHandle ParentOf(const NodeHandle& handle) {
  const pugi::xml_node parent = handle.node.parent();
  const bool is_top = handle.node == handle.tree->content() || parent == handle.tree->detached();
  return {handle.tree, is_top ? pugi::xml_node() : parent};
}

NodeHandle NextSiblingOf(const NodeHandle& handle) {
  const bool has_parent = !ParentOf(handle).node.empty();
  return {handle.tree, has_parent ? handle.node.next_sibling() : pugi::xml_node()};
}

void AppendNode(const NodeHandle& parent, const NodeHandle& child) {
  if (parent.tree != child.tree) {
    RaiseMismatch("The node belongs to another document");
  }
  RequireFits(*parent.tree, parent.node, child.node);
  if (TypeOf(child.node) == NodeType::kDocumentFragment) {
    MoveChildren(parent.node, child.node);
    return;
  }
  pugi::xml_node target = parent.node;
  target.append_move(child.node);
}

NodeHandle CloneNode(const NodeHandle& handle, bool deep) {
  if (TypeOf(handle.node) == NodeType::kDocument) {
    const auto copy = std::make_shared<DocumentTree>(handle.tree->kind());
    copy->SetAsync(handle.tree->async());
    if (deep) {
      LookAt(handle, [&](pugi::xml_node node) { AppendCopiesOfChildren(copy->content(), node); });
    }
    return {copy, copy->content()};
  }
  return LookAt(handle, [&](pugi::xml_node node) -> NodeHandle {
    NewNode copy(AppendShallowCopy(handle.tree->detached(), node));
    if (deep) {
      AppendCopiesOfChildren(copy.get(), node);
    }
    return {handle.tree, copy.Keep()};
  });
}

namespace {

/// How often `c` is in `text`. Counted in bytes, of which a vector holds many: 7 % of the
/// instructions of a plain CAN download.
std::size_t CountOf(char c, std::string_view text) {
  constexpr std::size_t kPartSize = 240;  // What a byte can count.
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

/// A row of copies as markup; that of each template is made once.
class MarkupRow {
 public:
  MarkupRow(const NodeHandle& parent, HandleOfNode handle_of)
      : parent_(parent), handle_of_(handle_of) {}

  /// False where the copies cannot be made of markup.
  bool Write(std::span<const TemplateCopy> copies) {
    std::size_t size = 0;
    std::size_t tag_count = 0;
    for (const TemplateCopy& copy : copies) {
      const TemplateMarkup* markup = Find(copy.fragment);
      const bool is_apart = TemplateMarkup::IsApart(copy.text);
      if (markup == nullptr || (is_apart && HasNul(copy.text))) {
        return false;
      }
      markups_.push_back(markup);
      size += markup->SizeOf(copy.text);
      tag_count += markup->tag_count();
      has_apart_ = has_apart_ || is_apart;
    }
    text_.resize(size);
    char* end = text_.data();
    for (std::size_t index = 0; index < copies.size(); ++index) {
      end = markups_[index]->WriteCopy(end, copies[index].text);
    }
    return IsLiteral(tag_count);
  }

  /// Appends the copies that were written.
  void Append(std::span<const TemplateCopy> copies) {
    AppendAllOrNothing(parent_.node, [&] {
      const pugi::xml_node last_before = parent_.node.last_child();
      AppendMarkup(parent_.node, text_);
      if (has_apart_) {
        SetTextsApart(last_before ? last_before.next_sibling() : parent_.node.first_child(),
                      copies);
      }
    });
  }

 private:
  struct Template {
    const IXMLDOMNode* fragment;
    std::optional<TemplateMarkup> markup;
  };

  /// Whether a parser gives back the texts in the markup as they are.
  [[nodiscard]] bool IsLiteral(std::size_t tag_count) const {
    return text_.find('&') == std::string::npos && !HasNul(text_) &&
           CountOf('<', text_) == tag_count;
  }

  void SetTextsApart(pugi::xml_node top, std::span<const TemplateCopy> copies) {
    for (std::size_t index = 0; index < copies.size(); ++index) {
      const std::string_view text = copies[index].text;
      if (TemplateMarkup::IsApart(text)) {
        markups_[index]->SetText(top, text);
      }
      top = markups_[index]->After(top);
    }
  }

  /// Null for a template that cannot be made of markup.
  const TemplateMarkup* Find(const IXMLDOMNode* fragment) {
    for (const Template& known : templates_) {
      if (known.fragment == fragment) {
        return known.markup ? &*known.markup : nullptr;
      }
    }
    const NodeHandle& handle = handle_of_(*fragment);
    const bool is_apart = handle.tree != parent_.tree;
    templates_.push_back({fragment, is_apart ? TemplateMarkup::Of(handle.node) : std::nullopt});
    return Find(fragment);
  }

  const NodeHandle& parent_;
  HandleOfNode handle_of_;
  std::deque<Template> templates_;
  std::vector<const TemplateMarkup*> markups_;  ///< of the copies in turn
  std::string text_;
  bool has_apart_ = false;
};

}  // namespace

void AppendTemplates(const NodeHandle& parent, std::span<const TemplateCopy> copies,
                     HandleOfNode handle_of) {
  MarkupRow row(parent, handle_of);
  if (TypeOf(parent.node) == NodeType::kElement && row.Write(copies)) {
    row.Append(copies);
    return;
  }
  AppendAllOrNothing(parent.node, [&] {
    for (const TemplateCopy& copy : copies) {
      AppendTemplate(parent, handle_of(*copy.fragment), copy.text);
    }
  });
}

void AppendTemplate(const NodeHandle& parent, const NodeHandle& fragment, std::string_view text) {
  if (TypeOf(parent.node) != NodeType::kElement &&
      TypeOf(parent.node) != NodeType::kDocumentFragment) {
    RaiseMismatch("A template can be appended to an element or a fragment only");
  }
  if (IsWithin(parent.node, fragment.node)) {
    RaiseMismatch("A node cannot stand below itself");
  }
  RequireNoNul(text);
  LookAt(fragment, [&](pugi::xml_node node) { AppendCopiesOfChildren(parent.node, node, text); });
}

NodeHandle CreateNode(const std::shared_ptr<DocumentTree>& tree, NodeType type,
                      std::string_view name, std::string_view value) {
  const pugi::xml_node_type tree_type = TreeTypeOf(type);
  const bool is_named = type == NodeType::kElement || type == NodeType::kProcessingInstruction;
  if (is_named) {
    RequireName(name);
  }
  RequireValueOf(type, value);
  NewNode node(AppendNew(tree->detached(), tree_type));
  if (is_named) {
    SetName(node.get(), std::string(name).c_str());
  }
  if (type == NodeType::kDocumentFragment) {
    SetName(node.get(), kFragmentName);
  }
  if (IsLeaf(type)) {
    SetValue(node.get(), value);
  }
  return {tree, node.Keep()};
}

void DeclareNamespace(pugi::xml_node element, std::string_view uri) {
  RequireNoNul(uri);
  const std::string name = element.name();
  const std::size_t colon = name.find(':');
  const std::string attribute =
      colon == std::string::npos ? "xmlns" : "xmlns:" + name.substr(0, colon);
  SetAttribute(element, attribute.c_str(), uri);
}

}  // namespace quillmark::portable
