// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>
// After windows.h, which declares what it uses.
#include <msxml2.h>

#include <utility>
#include <vector>

#include "base/com/com_ptr.h"

// The header redefines a name of the document model.
#undef DOMDocument

// MinGW's header declares the interfaces of MSXML without their identifiers.
__CRT_UUID_DECL(IXMLDOMNode, 0x2933BF80, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E,
                0x60)
__CRT_UUID_DECL(IXMLDOMDocument, 0x2933BF81, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98,
                0x3E, 0x60)
__CRT_UUID_DECL(IXMLDOMDocument2, 0x2933BF95, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98,
                0x3E, 0x60)
__CRT_UUID_DECL(IXMLDOMElement, 0x2933BF86, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98,
                0x3E, 0x60)

namespace quillmark::windows {

using MsxmlNode = ::IXMLDOMNode;
using MsxmlElement = ::IXMLDOMElement;
using MsxmlDocument = ::IXMLDOMDocument;

using NodePtr = com::ComPtr<MsxmlNode>;
using ElementPtr = com::ComPtr<MsxmlElement>;
using DocumentPtr = com::ComPtr<MsxmlDocument>;
using Nodes = std::vector<NodePtr>;

/// A node, and whether its document is free-threaded, which MSXML does not tell.
struct NodeHandle {
  NodePtr node;
  bool is_free_threaded;

  // Not explicit: what needs only the node takes a handle as well.
  operator MsxmlNode&() const { return *node; }
};

[[nodiscard]] inline NodeHandle At(const NodeHandle& handle, NodePtr node) {
  return {std::move(node), handle.is_free_threaded};
}
[[nodiscard]] inline bool IsFreeThreaded(const NodeHandle& document) {
  return document.is_free_threaded;
}

/// Both classes select with XSL Patterns, where an index counts from 0.
inline constexpr const wchar_t* kDocumentClass = L"Msxml2.DOMDocument";
inline constexpr const wchar_t* kFreeThreadedDocumentClass = L"Msxml2.FreeThreadedDOMDocument";

}  // namespace quillmark::windows
