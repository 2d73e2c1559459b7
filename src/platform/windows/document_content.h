// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "platform/windows/msxml.h"
#include "quillmark/dom.h"

/// The operations on whole MSXML documents; msxml_nodes.h explains how they are chosen.
namespace quillmark::windows {

/// Null in a document without one.
[[nodiscard]] NodePtr RootElementOf(MsxmlDocument& document);

/// A new node without parent and without value.
[[nodiscard]] NodePtr CreateNode(MsxmlDocument& document, NodeType type, std::string_view name,
                                 std::string_view namespace_uri);
/// A new text, CDATA section, comment or processing instruction with its characters.
[[nodiscard]] NodePtr CreateLeaf(MsxmlDocument& document, NodeType type, std::string_view name,
                                 std::string_view value);

/// Replaces the content of `target` by an exact copy of that of `source`.
void ReplaceContent(MsxmlDocument& target, MsxmlDocument& source);

/// As `DOMDocument::loadXML` says.
void ParseContent(MsxmlDocument& document, std::string_view text);

/// Raises 13 for a document whose paths are read as XPath, where an index counts from 1 and so
/// every reply would be taken for the one before it.
void RequireSelectsWithPatterns(MsxmlDocument& document);

}  // namespace quillmark::windows
