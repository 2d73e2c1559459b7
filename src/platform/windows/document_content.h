// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "platform/windows/msxml.h"
#include "quillmark/dom.h"

/// The operations on whole MSXML documents, given as nodes; msxml_nodes.h explains how they are
/// chosen.
namespace quillmark::windows {

/// Null in a document without one.
[[nodiscard]] NodePtr RootElementOf(MsxmlNode& node);

/// A new node without parent and without value.
[[nodiscard]] NodePtr CreateNode(MsxmlNode& owner, NodeType type, std::string_view name,
                                 std::string_view namespace_uri);
/// A new text, CDATA section, comment or processing instruction with its characters.
[[nodiscard]] NodePtr CreateLeaf(MsxmlNode& owner, NodeType type, std::string_view name,
                                 std::string_view value);

/// Replaces the content of `target` by an exact copy of that of `source`.
void ReplaceContent(MsxmlNode& target, MsxmlNode& source);

/// As `DOMDocument::loadXML` says.
void ParseContent(MsxmlNode& node, std::string_view text);

/// As `DOMDocument::async` says.
[[nodiscard]] bool IsAsync(MsxmlNode& node);
void SetAsync(MsxmlNode& node, bool value);

/// Raises 13 for a document whose paths are read as XPath, where an index counts from 1 and so
/// every reply would be taken for the one before it.
void RequireSelectsWithPatterns(MsxmlDocument& document);

}  // namespace quillmark::windows
