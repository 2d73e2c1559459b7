// SPDX-License-Identifier: MIT
#include "platform/windows/msxml_nodes.h"

#include <oaidl.h>

#include "base/com/status.h"
#include "base/com/text.h"
#include "base/com/variant.h"
#include "platform/windows/node_walk.h"

namespace quillmark::windows {
namespace {

void AppendOne(MsxmlNode& parent, MsxmlNode& child) {
  NodePtr appended;
  RequireDone(parent.appendChild(&child, appended.Put()), parent);
}

bool HasText(NodeType type) {
  return type == NodeType::kElement || type == NodeType::kDocument ||
         type == NodeType::kDocumentFragment;
}

}  // namespace

void RequireDone(HRESULT status, IUnknown& object) {
  if (SUCCEEDED(status)) {
    return;
  }
  // Only an object that declares it leaves a text; any other text is from an earlier call.
  if (com::Share(&object).As<ISupportErrorInfo>()) {
    throw Error(com::ReportedError(status));
  }
  com::Require(status);
}

NodeType TypeOf(MsxmlNode& node) {
  DOMNodeType type = NODE_INVALID;
  RequireDone(node.get_nodeType(&type), node);
  return static_cast<NodeType>(type);
}

std::string NameOf(MsxmlNode& node) {
  return Got<com::Bstr>(node, &MsxmlNode::get_nodeName).utf8();
}

std::string ValueOf(MsxmlNode& node) {
  const auto value = Got<com::Variant>(node, &MsxmlNode::get_nodeValue);
  if (value.type() == VT_BSTR) {
    return com::Utf8Of(com::View(V_BSTR(&value.get())));
  }
  return value.type() == VT_NULL || value.type() == VT_EMPTY
             ? std::string()
             : com::Utf8Of(com::View(V_BSTR(&com::ConvertedTo(VT_BSTR, value.get()).get())));
}

void WriteValue(MsxmlNode& node, std::string_view value) {
  RequireDone(node.put_nodeValue(com::Variant::OfText(com::Bstr(value)).get()), node);
}

NodePtr ParentOf(MsxmlNode& node) { return Got<NodePtr>(node, &MsxmlNode::get_parentNode); }

NodePtr FirstChildOf(MsxmlNode& node) { return Got<NodePtr>(node, &MsxmlNode::get_firstChild); }

NodePtr NextSiblingOf(MsxmlNode& node) { return Got<NodePtr>(node, &MsxmlNode::get_nextSibling); }

DocumentPtr WholeDocumentOf(MsxmlNode& node) {
  if (auto document = com::Share(&node).As<MsxmlDocument>()) {
    return document;
  }
  return Got<DocumentPtr>(node, &MsxmlNode::get_ownerDocument);
}

NodePtr DocumentOf(MsxmlNode& node) { return com::Share<MsxmlNode>(WholeDocumentOf(node).get()); }

std::string TextOf(MsxmlNode& node) {
  if (!HasText(TypeOf(node))) {
    return ValueOf(node);
  }
  std::string text;
  const auto enter = [&](MsxmlNode& visited) {
    const NodeType type = TypeOf(visited);
    if (type == NodeType::kText || type == NodeType::kCDataSection) {
      text += ValueOf(visited);
    }
    return true;
  };
  Walk(com::Share(&node), enter, [](MsxmlNode&) {});
  return text;
}

void WriteText(MsxmlNode& node, std::string_view text) {
  if (!HasText(TypeOf(node))) {
    return WriteValue(node, text);
  }
  const DocumentPtr document = WholeDocumentOf(node);
  com::ComPtr<::IXMLDOMText> child;
  RequireDone(document->createTextNode(com::Bstr(text).get(), child.Put()), document);
  RemoveChildren(node);
  AppendOne(node, *child);
}

void AppendNode(MsxmlNode& parent, MsxmlNode& child) {
  if (TypeOf(child) != NodeType::kDocumentFragment) {
    return AppendOne(parent, child);
  }
  while (const NodePtr moved = FirstChildOf(child)) {
    AppendOne(parent, *moved);
  }
}

NodePtr CloneNode(MsxmlNode& node, bool deep) {
  NodePtr clone;
  RequireDone(node.cloneNode(deep ? VARIANT_TRUE : VARIANT_FALSE, clone.Put()), node);
  return clone;
}

void RemoveChildren(MsxmlNode& parent) {
  while (const NodePtr child = FirstChildOf(parent)) {
    NodePtr removed;
    RequireDone(parent.removeChild(child.get(), removed.Put()), parent);
  }
}

NodePtr SelectFirst(MsxmlNode& node, std::string_view path) {
  NodePtr found;
  RequireDone(node.selectSingleNode(com::Bstr(path).get(), found.Put()), node);
  return found;
}

Nodes SelectAll(MsxmlNode& node, std::string_view path) {
  com::ComPtr<::IXMLDOMNodeList> list;
  RequireDone(node.selectNodes(com::Bstr(path).get(), list.Put()), node);
  Nodes nodes;
  for (;;) {
    NodePtr next;
    RequireDone(list->nextNode(next.Put()), list);
    if (!next) {
      return nodes;
    }
    nodes.push_back(std::move(next));
  }
}

std::optional<std::string> AttributeOf(MsxmlNode& node, std::string_view name) {
  const auto element = com::Share(&node).As<MsxmlElement>();
  com::Variant value;
  RequireDone(element->getAttribute(com::Bstr(name).get(), value.Put()), element);
  if (value.type() == VT_NULL) {
    return std::nullopt;
  }
  const com::Variant text = com::ConvertedTo(VT_BSTR, value.get());
  return com::Utf8Of(com::View(V_BSTR(&text.get())));
}

void WriteAttribute(MsxmlNode& node, std::string_view name, std::string_view value) {
  const auto element = com::Share(&node).As<MsxmlElement>();
  const auto text = com::Variant::OfText(com::Bstr(value));
  RequireDone(element->setAttribute(com::Bstr(name).get(), text.get()), element);
}

Nodes AttributesOf(MsxmlNode& node) {
  const auto map = Got<com::ComPtr<::IXMLDOMNamedNodeMap>>(node, &MsxmlNode::get_attributes);
  Nodes attributes;
  long count = 0;
  if (map) {
    RequireDone(map->get_length(&count), map);
  }
  for (long index = 0; index < count; ++index) {
    NodePtr attribute;
    RequireDone(map->get_item(index, attribute.Put()), map);
    attributes.push_back(std::move(attribute));
  }
  return attributes;
}

}  // namespace quillmark::windows
