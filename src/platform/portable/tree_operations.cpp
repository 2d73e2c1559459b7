// SPDX-License-Identifier: MIT
#include "platform/portable/tree_operations.h"

#include <algorithm>
#include <utility>

#include "platform/portable/child_elements.h"
#include "platform/portable/xml_lexis.h"
#include "platform/portable/xml_reader.h"
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

std::string TextBelow(pugi::xml_node node) {
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

/// Calls `read` with what `readChildTexts` reports about a part, which may be missing.
void ReadPart(pugi::xml_node part, const std::function<void(const ChildText&)>& read) {
  const pugi::xml_node content = part.first_child();
  switch (content.type()) {
    case pugi::node_null:
      return read({part ? ChildText::State::kEmptyPart : ChildText::State::kNoPart, {}});
    case pugi::node_element: {
      const std::string text = TextBelow(content);
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

/// A document contains one element, and besides it only comments, processing instructions and white
/// space.
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

/// Binds the prefix of an element's name, or the names without prefix, to a namespace.
void DeclareNamespace(pugi::xml_node element, std::string_view uri) {
  RequireNoNul(uri);
  const std::string name = element.name();
  const std::size_t colon = name.find(':');
  const std::string attribute =
      colon == std::string::npos ? "xmlns" : "xmlns:" + name.substr(0, colon);
  SetAttribute(element, attribute.c_str(), uri);
}

class StringWriter final : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& text) : text_(text) {}

  void write(const void* data, std::size_t size) override {
    text_.append(static_cast<const char*>(data), size);
  }

 private:
  std::string& text_;
};

std::string Serialise(pugi::xml_node node) {
  std::string text;
  StringWriter writer(text);
  const auto write = [&](pugi::xml_node part) {
    part.print(writer, "", pugi::format_raw, pugi::encoding_utf8);
  };
  const NodeType type = TypeOf(node);
  if (type != NodeType::kDocument && type != NodeType::kDocumentFragment) {
    write(node);
    return text;
  }
  for (const pugi::xml_node child : node.children()) {
    write(child);
  }
  return text;
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

std::string TextOf(const NodeHandle& handle) { return LookAt(handle, TextBelow); }

std::string XmlOf(const NodeHandle& handle) { return LookAt(handle, Serialise); }

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

void WriteValue(const NodeHandle& handle, std::string_view value) {
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

void WriteBytes(const NodeHandle& handle, SharedBytes bytes) {
  const bool is_outside = TypeOf(handle.node.parent()) == NodeType::kDocument;
  if (TypeOf(handle.node) != NodeType::kText || is_outside || bytes.AreFew()) {
    WriteValue(handle, HexOf(bytes.View()));
    return;
  }
  handle.tree->HoldBytes(handle.node, std::move(bytes));
  SetValue(handle.node, {});
}

void WriteText(const NodeHandle& handle, std::string_view text) {
  if (IsLeaf(TypeOf(handle.node))) {
    WriteValue(handle, text);
    return;
  }
  const pugi::xml_node node = CreateLeaf(handle, NodeType::kText, {}, text);
  if (TypeOf(handle.node) == NodeType::kDocument) {
    RaiseMismatch(kTextOutside);
  }
  MoveChildren(handle.tree->detached(), handle.node);
  AppendNode(handle, At(handle, node));
}

std::optional<std::string> AttributeOf(pugi::xml_node element, std::string_view name) {
  RequireNoNul(name);
  const pugi::xml_attribute attribute = element.attribute(std::string(name).c_str());
  return attribute.empty() ? std::nullopt : std::optional<std::string>(attribute.value());
}

void WriteAttribute(pugi::xml_node element, std::string_view name, std::string_view value) {
  RequireName(name);
  RequireNoNul(value);
  SetAttribute(element, std::string(name).c_str(), value);
}

pugi::xml_node ParentOf(const NodeHandle& handle) {
  const pugi::xml_node parent = handle.node.parent();
  const bool is_top = handle.node == handle.tree->content() || parent == handle.tree->detached();
  return is_top ? pugi::xml_node() : parent;
}

pugi::xml_node NextSiblingOf(const NodeHandle& handle) {
  return ParentOf(handle) ? handle.node.next_sibling() : pugi::xml_node();
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

pugi::xml_node CreateNode(const NodeHandle& document, NodeType type, std::string_view name,
                          std::string_view uri) {
  const pugi::xml_node node = CreateLeaf(document, type, name, {});
  if (type == NodeType::kElement && !uri.empty()) {
    DeclareNamespace(node, uri);
  }
  return node;
}

pugi::xml_node CreateLeaf(const NodeHandle& document, NodeType type, std::string_view name,
                          std::string_view value) {
  const pugi::xml_node_type tree_type = TreeTypeOf(type);
  const bool is_named = type == NodeType::kElement || type == NodeType::kProcessingInstruction;
  if (is_named) {
    RequireName(name);
  }
  RequireValueOf(type, value);
  NewNode node(AppendNew(document.tree->detached(), tree_type));
  if (is_named) {
    SetName(node.get(), std::string(name).c_str());
  }
  if (type == NodeType::kDocumentFragment) {
    SetName(node.get(), kFragmentName);
  }
  if (IsLeaf(type)) {
    SetValue(node.get(), value);
  }
  return node.Keep();
}

void ReplaceContent(const NodeHandle& target, const NodeHandle& source) {
  if (target.tree == source.tree) {
    return;
  }
  target.tree->ReplaceContent([&](pugi::xml_node content) {
    LookAt(source, [&](pugi::xml_node node) { AppendCopiesOfChildren(content, node); });
  });
}

void ParseContent(const NodeHandle& document, std::string_view text) {
  document.tree->Clear();
  document.tree->ReplaceContent([&](pugi::xml_node content) { ReadXml(text, content); });
}

}  // namespace quillmark::portable
