// SPDX-License-Identifier: MIT
#include "platform/windows/document_content.h"

#include <string>

#include "base/com/text.h"
#include "base/com/variant.h"
#include "platform/windows/msxml_nodes.h"
#include "platform/windows/node_walk.h"
#include "quillmark/error.h"

namespace quillmark::windows {
namespace {

std::string NamespaceOf(MsxmlNode& node) {
  return Got<com::Bstr>(node, &MsxmlNode::get_namespaceURI).utf8();
}

/// A copy of a node without its children, for another document.
NodePtr CopyFor(MsxmlNode& document, MsxmlNode& node) {
  const NodeType type = TypeOf(node);
  if (type != NodeType::kElement) {
    return CreateLeaf(document, type, NameOf(node), ValueOf(node));
  }
  NodePtr copy = CreateNode(document, type, NameOf(node), NamespaceOf(node));
  for (const NodePtr& attribute : AttributesOf(node)) {
    WriteAttribute(*copy, NameOf(*attribute), ValueOf(*attribute));
  }
  return copy;
}

/// Why a parse failed, and where, if MSXML says so.
Error ParseErrorOf(MsxmlDocument& document) {
  const auto error =
      Got<com::ComPtr<::IXMLDOMParseError>>(document, &MsxmlDocument::get_parseError);
  std::string text = Got<com::Bstr>(*error, &::IXMLDOMParseError::get_reason).utf8();
  text.erase(text.find_last_not_of("\r\n") + 1);
  long offset = 0;
  if (error->get_filepos(&offset) == S_OK) {
    text += " (offset " + std::to_string(offset) + ")";
  }
  return {error_number::kTypeMismatch, text};
}

}  // namespace

NodePtr RootElementOf(MsxmlNode& node) {
  const DocumentPtr document = WholeDocumentOf(node);
  return Got<ElementPtr>(*document, &MsxmlDocument::get_documentElement).As<MsxmlNode>();
}

NodePtr CreateNode(MsxmlNode& owner, NodeType type, std::string_view name,
                   std::string_view namespace_uri) {
  const DocumentPtr document = WholeDocumentOf(owner);
  NodePtr node;
  const auto number = com::Variant::OfLong(static_cast<std::int32_t>(type));
  RequireDone(document->createNode(number.get(), com::Bstr(name).get(),
                                   com::Bstr(namespace_uri).get(), node.Put()),
              document);
  return node;
}

NodePtr CreateLeaf(MsxmlNode& owner, NodeType type, std::string_view name, std::string_view value) {
  if (type == NodeType::kProcessingInstruction) {
    const DocumentPtr document = WholeDocumentOf(owner);
    com::ComPtr<::IXMLDOMProcessingInstruction> instruction;
    RequireDone(document->createProcessingInstruction(com::Bstr(name).get(), com::Bstr(value).get(),
                                                      instruction.Put()),
                document);
    return instruction.As<MsxmlNode>();
  }
  NodePtr node = CreateNode(owner, type, {}, {});
  WriteValue(*node, value);
  return node;
}

void ReplaceContent(MsxmlNode& target, MsxmlNode& source) {
  if (com::Share(&target).As<IUnknown>().get() == com::Share(&source).As<IUnknown>().get()) {
    return;
  }
  RemoveChildren(target);
  Nodes parents = {com::Share(&target)};
  const auto enter = [&](MsxmlNode& node) {
    if (&node == &source) {
      return true;
    }
    const NodePtr copy = CopyFor(target, node);
    AppendNode(*parents.back(), *copy);
    parents.push_back(copy);
    return true;
  };
  Walk(com::Share(&source), enter, [&](MsxmlNode&) { parents.pop_back(); });
}

void ParseContent(MsxmlNode& node, std::string_view text) {
  const DocumentPtr document = WholeDocumentOf(node);
  RequireDone(document->put_async(VARIANT_FALSE), document);
  RequireDone(document->put_preserveWhiteSpace(VARIANT_TRUE), document);
  // A reply is read as it is: nothing that it refers to is fetched.
  RequireDone(document->put_validateOnParse(VARIANT_FALSE), document);
  RequireDone(document->put_resolveExternals(VARIANT_FALSE), document);
  VARIANT_BOOL parsed = VARIANT_FALSE;
  RequireDone(document->loadXML(com::Bstr(text).get(), &parsed), document);
  if (parsed == VARIANT_FALSE) {
    throw ParseErrorOf(*document);
  }
}

bool IsAsync(MsxmlNode& node) {
  const DocumentPtr document = WholeDocumentOf(node);
  VARIANT_BOOL value = VARIANT_FALSE;
  RequireDone(document->get_async(&value), document);
  return value != VARIANT_FALSE;
}

void SetAsync(MsxmlNode& node, bool value) {
  const DocumentPtr document = WholeDocumentOf(node);
  RequireDone(document->put_async(value ? VARIANT_TRUE : VARIANT_FALSE), document);
}

void RequireSelectsWithPatterns(MsxmlDocument& document) {
  const auto newer = com::Share(&document).As<::IXMLDOMDocument2>();
  com::Variant language;
  com::Bstr name(std::string_view("SelectionLanguage"));
  if (!newer || FAILED(newer->getProperty(name.get(), language.Put())) ||
      language.type() != VT_BSTR) {
    return;
  }
  if (com::View(V_BSTR(&language.get())) == L"XPath") {
    throw Error(error_number::kTypeMismatch,
                "The document's SelectionLanguage is XPath; it must be XSLPattern");
  }
}

}  // namespace quillmark::windows
