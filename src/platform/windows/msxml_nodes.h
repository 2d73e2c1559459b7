// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "platform/windows/msxml.h"
#include "quillmark/dom.h"

/// The operations on MSXML nodes, limited to those that give the same result in every
/// implementation. So no text is taken from `xml`, which adds or drops white space and
/// declarations, nor from `text`, which trims; fragments are not appended as such; and nothing is
/// saved into another document.
namespace quillmark::windows {

[[nodiscard]] NodeType TypeOf(MsxmlNode& node);
[[nodiscard]] std::string NameOf(MsxmlNode& node);
/// Empty for a node without value.
[[nodiscard]] std::string ValueOf(MsxmlNode& node);
void SetValue(MsxmlNode& node, std::string_view value);

/// Null if there is none.
[[nodiscard]] NodePtr ParentOf(MsxmlNode& node);
[[nodiscard]] NodePtr FirstChildOf(MsxmlNode& node);
[[nodiscard]] NodePtr NextSiblingOf(MsxmlNode& node);
/// The document of a node; for a document, itself.
[[nodiscard]] DocumentPtr DocumentOf(MsxmlNode& node);

/// As `IXMLDOMNode::text` and `setText` say.
[[nodiscard]] std::string TextOf(MsxmlNode& node);
void SetText(MsxmlNode& node, std::string_view text);

/// As `IXMLDOMNode` says of the same operations.
void AppendNode(MsxmlNode& parent, MsxmlNode& child);
[[nodiscard]] NodePtr CloneNode(MsxmlNode& node, bool deep);
void RemoveChildren(MsxmlNode& parent);

[[nodiscard]] NodePtr SelectFirst(MsxmlNode& node, std::string_view path);
[[nodiscard]] Nodes SelectAll(MsxmlNode& node, std::string_view path);

/// The attributes of an element, in document order; none for other nodes.
[[nodiscard]] Nodes AttributesOf(MsxmlNode& node);

}  // namespace quillmark::windows
