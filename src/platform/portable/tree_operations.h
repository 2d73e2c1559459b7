// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/portable/document_tree.h"
#include "quillmark/dom.h"

/// The operations of node objects of every kind, on the tree below the document model.
namespace quillmark::portable {

[[nodiscard]] inline NodeHandle At(const NodeHandle& handle, pugi::xml_node node) {
  return {handle.tree, node};
}
/// The copy of a document is in a tree of its own.
[[nodiscard]] inline NodeHandle At(const NodeHandle& /*handle*/, NodeHandle other) { return other; }

/// The document of a tree.
[[nodiscard]] inline NodeHandle ContentOf(const std::shared_ptr<DocumentTree>& tree) {
  return {tree, tree->content()};
}
[[nodiscard]] inline NodeHandle DocumentOf(const NodeHandle& handle) {
  return ContentOf(handle.tree);
}
[[nodiscard]] inline bool IsFreeThreaded(const NodeHandle& document) {
  return document.tree->kind() == DocumentTree::Kind::kFreeThreaded;
}
[[nodiscard]] inline bool IsAsync(const NodeHandle& document) { return document.tree->async(); }
inline void SetAsync(const NodeHandle& document, bool value) { document.tree->SetAsync(value); }

[[nodiscard]] std::string NameOf(pugi::xml_node node);
/// The text of a leaf, and the joined text and CDATA content of any other node.
[[nodiscard]] std::string TextOf(const NodeHandle& handle);
/// The serialised node, of a document or a fragment its children, with nothing added: no
/// indentation, no declaration, line ends as they are.
[[nodiscard]] std::string XmlOf(const NodeHandle& handle);

/// The value of a leaf; empty for any other node.
[[nodiscard]] std::string ValueOf(const NodeHandle& handle);
/// Raises 13 if the node has no value or its value cannot hold that text.
void WriteValue(const NodeHandle& handle, std::string_view value);
/// Makes the hex text of `bytes` the value; a text node holds the bytes.
void WriteBytes(const NodeHandle& handle, SharedBytes bytes);
/// Raises 13 for a document. The replaced children become detached.
void WriteText(const NodeHandle& handle, std::string_view text);

[[nodiscard]] std::optional<std::string> AttributeOf(pugi::xml_node element, std::string_view name);
/// Raises 13 for a name or a value that XML does not allow.
void WriteAttribute(pugi::xml_node element, std::string_view name, std::string_view value);

/// As `IXMLDOMNode::readChildTexts` says, for a node whose values can be read.
void ReadChildTexts(pugi::xml_node node, std::string_view name, std::string_view part,
                    const std::function<void(const ChildText&)>& read);
/// Appends a row of leaves, all or none, as `IXMLDOMElement::appendLeaves` says.
void AppendLeaves(pugi::xml_node element, std::span<const Leaf> leaves);

/// An empty node if there is none.
[[nodiscard]] pugi::xml_node ParentOf(const NodeHandle& handle);
[[nodiscard]] pugi::xml_node NextSiblingOf(const NodeHandle& handle);
[[nodiscard]] inline pugi::xml_node FirstChildOf(pugi::xml_node node) { return node.first_child(); }
[[nodiscard]] pugi::xml_node RootElementOf(pugi::xml_node document);
/// Raises 13 for a child of another document, one that is or contains the parent, and one that is
/// not allowed there.
void AppendNode(const NodeHandle& parent, const NodeHandle& child);
/// Cloning a whole document only reads it: other threads may continue to read. The copy of any
/// other node is added to the detached nodes of its document, which is a change.
[[nodiscard]] NodeHandle CloneNode(const NodeHandle& handle, bool deep);

/// A node of a document without a parent. `uri` is the namespace of an element, or empty. Raises 13
/// for a type that cannot be created this way, and for a name that XML does not allow.
[[nodiscard]] pugi::xml_node CreateNode(const NodeHandle& document, NodeType type,
                                        std::string_view name, std::string_view uri);
/// The same with a value, which raises 13 if XML does not allow it.
[[nodiscard]] pugi::xml_node CreateLeaf(const NodeHandle& document, NodeType type,
                                        std::string_view name, std::string_view value);

/// Replaces the content of `target` by a copy of that of `source`.
void ReplaceContent(const NodeHandle& target, const NodeHandle& source);
/// As `DOMDocument::loadXML` says.
void ParseContent(const NodeHandle& document, std::string_view text);

}  // namespace quillmark::portable
