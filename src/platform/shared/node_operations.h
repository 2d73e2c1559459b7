// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "base/guards.h"
#include "quillmark/dom.h"
#include "quillmark/error.h"

/// The node objects of the document model, on top of a platform's own operations on its nodes.
///
/// A platform describes itself by a class `Types`:
///
/// - `Handle`: a node, `handle.node`, with what else the platform knows of it. The operations that
///   are called here are functions in its namespace. They give other nodes of the same document,
///   for which `At` makes handles.
/// - `Object`: the base of every node object. It is made of a handle, which `handle()` returns.
/// - `Plain`, `Element`, `Document<Interface>`: the classes of the node objects, which are those
///   below or derived from them.
namespace quillmark::nodes {

template <typename Types>
std::shared_ptr<IXMLDOMElement> WrapElement(typename Types::Handle handle) {
  return handle.node ? std::make_shared<typename Types::Element>(std::move(handle)) : nullptr;
}

/// The object for a document; a `FreeThreadedDOMDocument` where it is of that kind.
template <typename Types>
std::shared_ptr<DOMDocument> WrapDocument(typename Types::Handle handle) {
  using FreeThreaded = typename Types::template Document<FreeThreadedDOMDocument>;
  using Plain = typename Types::template Document<DOMDocument>;
  if (IsFreeThreaded(handle)) {
    return std::make_shared<FreeThreaded>(std::move(handle));
  }
  return std::make_shared<Plain>(std::move(handle));
}

/// The object for a node; null for no node.
template <typename Types>
std::shared_ptr<IXMLDOMNode> Wrap(typename Types::Handle handle) {
  if (!handle.node) {
    return nullptr;
  }
  switch (TypeOf(handle)) {
    case NodeType::kDocument:
      return WrapDocument<Types>(std::move(handle));
    case NodeType::kElement:
      return WrapElement<Types>(std::move(handle));
    default:
      return std::make_shared<typename Types::Plain>(std::move(handle));
  }
}

/// Raises 13 for a node of another implementation.
template <typename Types>
const typename Types::Handle& HandleOf(const IXMLDOMNode& node) {
  // Comparing types first saves the dynamic cast, which goes through all bases, for nearly all
  // nodes.
  if (typeid(node) == typeid(typename Types::Element)) {
    return static_cast<const typename Types::Element&>(node).handle();
  }
  if (typeid(node) == typeid(typename Types::Plain)) {
    return static_cast<const typename Types::Plain&>(node).handle();
  }
  const auto* const own = dynamic_cast<const typename Types::Object*>(&node);
  if (own == nullptr) {
    throw Error(error_number::kTypeMismatch, "The node is of another platform");
  }
  return own->handle();
}

/// `Nodes` are nodes of the document that `context` belongs to.
template <typename Types, typename Nodes>
class NodeList final : public IXMLDOMNodeList {
 public:
  NodeList(typename Types::Handle context, Nodes nodes)
      : context_(std::move(context)), nodes_(std::move(nodes)) {}

  [[nodiscard]] std::size_t length() const override { return nodes_.size(); }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> item(std::size_t index) const override {
    if (index >= nodes_.size()) {
      return nullptr;
    }
    return GuardMemory([&] { return Wrap<Types>(At(context_, nodes_[index])); });
  }

 private:
  typename Types::Handle context_;
  Nodes nodes_;
};

/// The operations of every node, below any of the node interfaces.
template <typename Interface, typename Types>
class NodeOperations : public Interface, public Types::Object {
 public:
  explicit NodeOperations(typename Types::Handle handle) : Types::Object(std::move(handle)) {}

  [[nodiscard]] NodeType nodeType() const override { return TypeOf(this->handle()); }

  [[nodiscard]] std::string nodeName() const override {
    return GuardMemory([&] { return NameOf(this->handle()); });
  }

  [[nodiscard]] std::string nodeValue() const override {
    return GuardMemory([&] { return ValueOf(this->handle()); });
  }
  void setNodeValue(std::string_view value) override {
    GuardMemory([&] { WriteValue(this->handle(), value); });
  }

  [[nodiscard]] std::string text() const override {
    return GuardMemory([&] { return TextOf(this->handle()); });
  }
  void setText(std::string_view value) override {
    GuardMemory([&] { WriteText(this->handle(), value); });
  }

  [[nodiscard]] std::string xml() const override {
    return GuardMemory([&] { return XmlOf(this->handle()); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> parentNode() const override {
    return GuardMemory([&] { return WrapOther(ParentOf(this->handle())); });
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> firstChild() const override {
    return GuardMemory([&] { return WrapOther(FirstChildOf(this->handle())); });
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> nextSibling() const override {
    return GuardMemory([&] { return WrapOther(NextSiblingOf(this->handle())); });
  }
  [[nodiscard]] std::shared_ptr<DOMDocument> ownerDocument() const override {
    if constexpr (std::is_base_of_v<DOMDocument, Interface>) {
      return nullptr;
    } else {
      return GuardMemory(
          [&] { return WrapDocument<Types>(At(this->handle(), DocumentOf(this->handle()))); });
    }
  }

  std::shared_ptr<IXMLDOMNode> appendChild(const std::shared_ptr<IXMLDOMNode>& child) override {
    const auto& appended = HandleOf<Types>(Require(child));
    GuardMemory([&] { AppendNode(this->handle(), appended); });
    return child;
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> cloneNode(bool deep) const override {
    return GuardMemory([&] { return WrapOther(CloneNode(this->handle(), deep)); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> selectSingleNode(
      std::string_view path) const override {
    return GuardMemory([&] { return WrapOther(SelectFirst(this->handle(), path)); });
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNodeList> selectNodes(std::string_view path) const override {
    return GuardMemory([&] {
      auto nodes = SelectAll(this->handle(), path);
      using List = NodeList<Types, decltype(nodes)>;
      return std::make_shared<List>(this->handle(), std::move(nodes));
    });
  }

 protected:
  /// The object for another node of this document.
  template <typename Node>
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> WrapOther(Node node) const {
    return Wrap<Types>(At(this->handle(), std::move(node)));
  }
};

template <typename Types>
class ElementOperations : public NodeOperations<IXMLDOMElement, Types> {
 public:
  using NodeOperations<IXMLDOMElement, Types>::NodeOperations;

  [[nodiscard]] std::optional<std::string> getAttribute(std::string_view name) const override {
    return GuardMemory([&] { return AttributeOf(this->handle(), name); });
  }
  void setAttribute(std::string_view name, std::string_view value) override {
    GuardMemory([&] { WriteAttribute(this->handle(), name, value); });
  }
};

/// A document of either kind.
template <typename Interface, typename Types>
class DocumentOperations : public NodeOperations<Interface, Types> {
 public:
  using NodeOperations<Interface, Types>::NodeOperations;

  [[nodiscard]] std::shared_ptr<IXMLDOMElement> documentElement() const override {
    return GuardMemory(
        [&] { return WrapElement<Types>(At(this->handle(), RootElementOf(this->handle()))); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createNode(NodeType type, std::string_view name,
                                                        std::string_view namespaceURI) override {
    return GuardMemory(
        [&] { return this->WrapOther(CreateNode(this->handle(), type, name, namespaceURI)); });
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMElement> createElement(std::string_view name) override {
    return GuardMemory([&] {
      auto element = CreateNode(this->handle(), NodeType::kElement, name, {});
      return WrapElement<Types>(At(this->handle(), std::move(element)));
    });
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createTextNode(std::string_view text) override {
    return NewLeaf(NodeType::kText, {}, text);
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createProcessingInstruction(
      std::string_view target, std::string_view data) override {
    return NewLeaf(NodeType::kProcessingInstruction, target, data);
  }
  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createDocumentFragment() override {
    return createNode(NodeType::kDocumentFragment, {}, {});
  }

  void save(DOMDocument& target) const override {
    GuardMemory([&] { ReplaceContent(HandleOf<Types>(target), this->handle()); });
  }
  void loadXML(std::string_view text) override {
    GuardMemory([&] { ParseContent(this->handle(), text); });
  }

  [[nodiscard]] bool async() const override { return IsAsync(this->handle()); }
  void setAsync(bool value) override { SetAsync(this->handle(), value); }

 private:
  std::shared_ptr<IXMLDOMNode> NewLeaf(NodeType type, std::string_view name,
                                       std::string_view value) {
    return GuardMemory(
        [&] { return this->WrapOther(CreateLeaf(this->handle(), type, name, value)); });
  }
};

}  // namespace quillmark::nodes
