// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/portable/document_tree.h"
#include "quillmark/dom.h"

/// The operations of node objects of every kind, on the tree below the document model.
namespace quillmark::portable {

[[nodiscard]] std::string NameOf(pugi::xml_node node);
/// The text of a leaf, and the joined text and CDATA content of any other node.
[[nodiscard]] std::string TextOf(pugi::xml_node node);

void ReadChildTexts(pugi::xml_node node, std::string_view name, std::string_view part,
                    const std::function<void(const ChildText&)>& read);

/// The value of a leaf; empty for any other node.
[[nodiscard]] std::string ValueOf(const NodeHandle& handle);
/// Raises 13 if the node has no value or its value cannot hold that text.
void ReplaceValue(const NodeHandle& handle, std::string_view value);
/// Makes the hex text of `bytes` the value; a text node holds the bytes.
void ReplaceValueByBytes(const NodeHandle& handle, SharedBytes bytes);
/// Raises 13 for a document. The replaced children become detached.
void ReplaceText(const NodeHandle& handle, std::string_view text);

/// An empty node if there is none.
[[nodiscard]] NodeHandle ParentOf(const NodeHandle& handle);
[[nodiscard]] NodeHandle NextSiblingOf(const NodeHandle& handle);
[[nodiscard]] pugi::xml_node RootElementOf(pugi::xml_node document);
/// Raises 13 for a child of another document, one that is or contains the parent, and one that is
/// not allowed there.
void AppendNode(const NodeHandle& parent, const NodeHandle& child);
/// Cloning a whole document only reads it: other threads may continue to read. The copy of any
/// other node is added to the detached nodes of its document, which is a change.
[[nodiscard]] NodeHandle CloneNode(const NodeHandle& handle, bool deep);

/// A node without a parent. Raises 13 for a type that cannot be created this way, and for a name or
/// a value that XML does not allow.
[[nodiscard]] NodeHandle CreateNode(const std::shared_ptr<DocumentTree>& tree, NodeType type,
                                    std::string_view name, std::string_view value);
/// Binds the prefix of an element's name, or the names without prefix, to a namespace.
void DeclareNamespace(pugi::xml_node element, std::string_view uri);

}  // namespace quillmark::portable
