// SPDX-License-Identifier: MIT
#include "platform/windows/document_objects.h"

#include <type_traits>
#include <utility>

#include "base/com/status.h"
#include "base/com/text.h"
#include "base/com/variant.h"
#include "platform/windows/com_objects.h"
#include "platform/windows/create_object.h"
#include "platform/windows/document_content.h"
#include "platform/windows/msxml_error.h"
#include "platform/windows/msxml_nodes.h"
#include "platform/windows/xml_text.h"
#include "quillmark/error.h"

namespace quillmark::windows {
namespace {

/// The kind of a document; MSXML does not tell.
enum class Kind { kPlain, kFreeThreaded };

/// A node that knows the kind of its document.
struct NodeHandle {
  NodePtr node;
  Kind kind;
};

std::shared_ptr<IXMLDOMNode> Wrap(NodeHandle handle);
std::shared_ptr<DOMDocument> WrapDocument(DocumentPtr document, Kind kind);

/// Raises 13 for a node of another implementation, 91 for none.
MsxmlNode& NodeBehind(const IXMLDOMNode* node);

class NodeList final : public IXMLDOMNodeList {
 public:
  NodeList(Nodes nodes, Kind kind) : nodes_(std::move(nodes)), kind_(kind) {}

  [[nodiscard]] std::size_t length() const override { return nodes_.size(); }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> item(std::size_t index) const override {
    return index < nodes_.size() ? Wrap({nodes_[index], kind_}) : nullptr;
  }

 private:
  Nodes nodes_;
  Kind kind_;
};

/// The operations of every node, below any of the node interfaces.
template <typename Interface>
class NodeOperations : public Interface, public ComBacked {
 public:
  explicit NodeOperations(NodeHandle handle) : handle_(std::move(handle)) {}

  [[nodiscard]] IDispatch& Dispatch() const override { return node(); }

  [[nodiscard]] NodeType nodeType() const override { return TypeOf(node()); }
  [[nodiscard]] std::string nodeName() const override { return NameOf(node()); }
  [[nodiscard]] std::string nodeValue() const override { return ValueOf(node()); }
  void setNodeValue(std::string_view value) override { SetValue(node(), value); }
  [[nodiscard]] std::string text() const override { return TextOf(node()); }
  void setText(std::string_view value) override { SetText(node(), value); }
  [[nodiscard]] std::string xml() const override { return XmlOf(node()); }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> parentNode() const override {
    return Wrap(At(ParentOf(node())));
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> firstChild() const override {
    return Wrap(At(FirstChildOf(node())));
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> nextSibling() const override {
    return Wrap(At(NextSiblingOf(node())));
  }
  [[nodiscard]] std::shared_ptr<DOMDocument> ownerDocument() const override {
    if constexpr (std::is_base_of_v<DOMDocument, Interface>) {
      return nullptr;
    } else {
      return WrapDocument(DocumentOf(node()), handle_.kind);
    }
  }

  std::shared_ptr<IXMLDOMNode> appendChild(const std::shared_ptr<IXMLDOMNode>& child) override {
    AppendNode(node(), NodeBehind(child.get()));
    return child;
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> cloneNode(bool deep) const override {
    return Wrap(At(CloneNode(node(), deep)));
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> selectSingleNode(
      std::string_view path) const override {
    return Wrap(At(SelectFirst(node(), path)));
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNodeList> selectNodes(std::string_view path) const override {
    return std::make_shared<NodeList>(SelectAll(node(), path), handle_.kind);
  }

 protected:
  [[nodiscard]] MsxmlNode& node() const { return *handle_.node; }
  [[nodiscard]] NodeHandle At(NodePtr other) const { return {std::move(other), handle_.kind}; }

 private:
  NodeHandle handle_;
};

using PlainNode = NodeOperations<IXMLDOMNode>;

class ElementNode final : public NodeOperations<IXMLDOMElement> {
 public:
  ElementNode(NodeHandle handle, ElementPtr element)
      : NodeOperations(std::move(handle)), element_(std::move(element)) {}

  [[nodiscard]] std::optional<std::string> getAttribute(std::string_view name) const override {
    com::Variant value;
    RequireDone(element_->getAttribute(com::Bstr(name).get(), value.Put()), element_);
    if (value.type() == VT_NULL) {
      return std::nullopt;
    }
    const com::Variant text = com::ConvertedTo(VT_BSTR, value.get());
    return com::Utf8Of(com::View(V_BSTR(&text.get())));
  }

  void setAttribute(std::string_view name, std::string_view value) override {
    const auto text = com::Variant::OfText(com::Bstr(value));
    RequireDone(element_->setAttribute(com::Bstr(name).get(), text.get()), element_);
  }

 private:
  ElementPtr element_;
};

std::shared_ptr<IXMLDOMElement> WrapElement(NodeHandle handle) {
  if (!handle.node) {
    return nullptr;
  }
  auto element = handle.node.As<MsxmlElement>();
  return std::make_shared<ElementNode>(std::move(handle), std::move(element));
}

/// A document of either kind.
template <typename Interface>
class DocumentNode final : public NodeOperations<Interface> {
 public:
  DocumentNode(DocumentPtr document, Kind kind)
      : NodeOperations<Interface>({document.As<MsxmlNode>(), kind}),
        document_(std::move(document)) {}

  [[nodiscard]] std::shared_ptr<IXMLDOMElement> documentElement() const override {
    return WrapElement(this->At(RootElementOf(*document_)));
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createNode(NodeType type, std::string_view name,
                                                        std::string_view namespaceURI) override {
    return Wrap(this->At(CreateNode(*document_, type, name, namespaceURI)));
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMElement> createElement(std::string_view name) override {
    return WrapElement(this->At(CreateNode(*document_, NodeType::kElement, name, {})));
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createTextNode(std::string_view text) override {
    return Wrap(this->At(CreateLeaf(*document_, NodeType::kText, {}, text)));
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createProcessingInstruction(
      std::string_view target, std::string_view data) override {
    return Wrap(this->At(CreateLeaf(*document_, NodeType::kProcessingInstruction, target, data)));
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createDocumentFragment() override {
    return Wrap(this->At(CreateNode(*document_, NodeType::kDocumentFragment, {}, {})));
  }

  void save(DOMDocument& target) const override {
    const auto copy = com::Share(&NodeBehind(&target)).template As<MsxmlDocument>();
    if (&target != this) {
      ReplaceContent(*copy, *document_);
    }
  }
  void loadXML(std::string_view text) override { ParseContent(*document_, text); }

  [[nodiscard]] bool async() const override {
    VARIANT_BOOL value = VARIANT_FALSE;
    RequireDone(document_->get_async(&value), document_);
    return value != VARIANT_FALSE;
  }
  void setAsync(bool value) override {
    RequireDone(document_->put_async(value ? VARIANT_TRUE : VARIANT_FALSE), document_);
  }

 private:
  DocumentPtr document_;
};

MsxmlNode& NodeBehind(const IXMLDOMNode* node) {
  if (node == nullptr) {
    throw Error(error_number::kObjectNotSet);
  }
  const auto* const backed = dynamic_cast<const ComBacked*>(node);
  if (backed == nullptr) {
    throw Error(error_number::kTypeMismatch, "The node is of another platform");
  }
  // Every node object of this platform wraps an MSXML node.
  return static_cast<MsxmlNode&>(backed->Dispatch());
}

std::shared_ptr<DOMDocument> WrapDocument(DocumentPtr document, Kind kind) {
  if (kind == Kind::kFreeThreaded) {
    return std::make_shared<DocumentNode<FreeThreadedDOMDocument>>(std::move(document), kind);
  }
  return std::make_shared<DocumentNode<DOMDocument>>(std::move(document), kind);
}

std::shared_ptr<IXMLDOMNode> Wrap(NodeHandle handle) {
  if (!handle.node) {
    return nullptr;
  }
  switch (TypeOf(*handle.node)) {
    case NodeType::kDocument:
      return WrapDocument(DocumentOf(*handle.node), handle.kind);
    case NodeType::kElement:
      return WrapElement(std::move(handle));
    default:
      return std::make_shared<PlainNode>(std::move(handle));
  }
}

DocumentPtr CreateDocument(const wchar_t* prog_id) {
  CLSID class_id;
  auto document = CreateObject(prog_id, __uuidof(MsxmlDocument), class_id).As<MsxmlDocument>();
  RequireDone(document->put_async(VARIANT_FALSE), document);
  return document;
}

}  // namespace

std::shared_ptr<DOMDocument> NewDocument() {
  return WrapDocument(CreateDocument(kDocumentClass), Kind::kPlain);
}

std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument() {
  return std::make_shared<DocumentNode<FreeThreadedDOMDocument>>(
      CreateDocument(kFreeThreadedDocumentClass), Kind::kFreeThreaded);
}

std::shared_ptr<IXMLDOMNode> WrapNode(const com::ComPtr<IUnknown>& object) {
  auto node = object.As<MsxmlNode>();
  if (object && !node) {
    throw Error(error_number::kTypeMismatch);
  }
  return Wrap({std::move(node), Kind::kPlain});
}

std::shared_ptr<DOMDocument> WrapDocument(const com::ComPtr<IUnknown>& object) {
  if (!object) {
    return nullptr;
  }
  auto document = object.As<MsxmlDocument>();
  if (!document) {
    throw Error(error_number::kTypeMismatch);
  }
  RequireSelectsWithPatterns(*document);
  return WrapDocument(std::move(document), Kind::kPlain);
}

}  // namespace quillmark::windows
