// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/windows/msxml.h"
#include "quillmark/dom.h"

/// The operations on MSXML nodes, limited to those that give the same result in every
/// implementation. So no text is taken from `xml`, which adds or drops white space and
/// declarations, nor from `text`, which trims; fragments are not appended as such; and nothing is
/// saved into another document.
namespace quillmark::windows {

/// Raises a failure of `object`, with the text that the object left for it, if any. Must be called
/// right after the failed call, on its thread.
void RequireDone(HRESULT status, IUnknown& object);

template <typename Interface>
void RequireDone(HRESULT status, const com::ComPtr<Interface>& object) {
  RequireDone(status, *object);
}

/// What `method` of `object` returns: a text or an object.
template <typename Result, typename Object, typename Method>
[[nodiscard]] Result Got(Object& object, Method method) {
  Result result;
  RequireDone((object.*method)(result.Put()), object);
  return result;
}

[[nodiscard]] NodeType TypeOf(MsxmlNode& node);
[[nodiscard]] std::string NameOf(MsxmlNode& node);
/// Empty for a node without value.
[[nodiscard]] std::string ValueOf(MsxmlNode& node);
void WriteValue(MsxmlNode& node, std::string_view value);

/// Null if there is none.
[[nodiscard]] NodePtr ParentOf(MsxmlNode& node);
[[nodiscard]] NodePtr FirstChildOf(MsxmlNode& node);
[[nodiscard]] NodePtr NextSiblingOf(MsxmlNode& node);
/// The document of a node; for a document, itself.
[[nodiscard]] NodePtr DocumentOf(MsxmlNode& node);
/// The same by its own interface.
[[nodiscard]] DocumentPtr WholeDocumentOf(MsxmlNode& node);

/// As `IXMLDOMNode::text` and `setText` say.
[[nodiscard]] std::string TextOf(MsxmlNode& node);
void WriteText(MsxmlNode& node, std::string_view text);
/// The serialised node, with nothing added and nothing left out; of a document or fragment, its
/// children.
[[nodiscard]] std::string XmlOf(MsxmlNode& node);

/// As `IXMLDOMNode` says of the same operations.
void AppendNode(MsxmlNode& parent, MsxmlNode& child);
[[nodiscard]] NodePtr CloneNode(MsxmlNode& node, bool deep);
void RemoveChildren(MsxmlNode& parent);

[[nodiscard]] NodePtr SelectFirst(MsxmlNode& node, std::string_view path);
[[nodiscard]] Nodes SelectAll(MsxmlNode& node, std::string_view path);

[[nodiscard]] std::optional<std::string> AttributeOf(MsxmlNode& element, std::string_view name);
void WriteAttribute(MsxmlNode& element, std::string_view name, std::string_view value);
/// The attributes of an element, in document order; none for other nodes.
[[nodiscard]] Nodes AttributesOf(MsxmlNode& node);

}  // namespace quillmark::windows
