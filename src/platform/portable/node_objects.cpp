// SPDX-License-Identifier: MIT
#include "platform/portable/node_objects.h"

#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "base/guards.h"
#include "platform/portable/leaf_rows.h"
#include "platform/portable/memory_byte_string.h"
#include "platform/portable/node_selection.h"
#include "platform/portable/tree_operations.h"
#include "platform/portable/xml_lexis.h"
#include "platform/portable/xml_reader.h"
#include "platform/portable/xml_writer.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

/// The base of every node object of this platform, whatever its interface.
class NodeObject {
 public:
  explicit NodeObject(NodeHandle handle) : handle_(std::move(handle)) {}
  NodeObject(const NodeObject&) = delete;
  NodeObject& operator=(const NodeObject&) = delete;
  NodeObject(NodeObject&&) = delete;
  NodeObject& operator=(NodeObject&&) = delete;

  [[nodiscard]] const NodeHandle& handle() const { return handle_; }

 protected:
  virtual ~NodeObject() = default;

  [[nodiscard]] NodeHandle At(pugi::xml_node node) const { return {handle_.tree, node}; }
  [[nodiscard]] pugi::xml_node node() const { return handle_.node; }

 private:
  NodeHandle handle_;
};

/// Raises 13 for a node of another implementation.
const NodeHandle& HandleOf(const IXMLDOMNode& node);

class NodeList final : public IXMLDOMNodeList {
 public:
  NodeList(std::shared_ptr<DocumentTree> tree, std::vector<pugi::xml_node> nodes)
      : tree_(std::move(tree)), nodes_(std::move(nodes)) {}

  [[nodiscard]] std::size_t length() const override { return nodes_.size(); }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> item(std::size_t index) const override {
    if (index >= nodes_.size()) {
      return nullptr;
    }
    return GuardMemory([&] { return WrapNode({tree_, nodes_[index]}); });
  }

 private:
  std::shared_ptr<DocumentTree> tree_;
  std::vector<pugi::xml_node> nodes_;
};

/// The operations of every node, below any of the node interfaces.
template <typename Interface>
class NodeOperations : public Interface, public NodeObject {
 public:
  using NodeObject::NodeObject;

  [[nodiscard]] NodeType nodeType() const override { return TypeOf(node()); }

  [[nodiscard]] std::string nodeName() const override {
    return GuardMemory([&] { return NameOf(node()); });
  }

  [[nodiscard]] std::string nodeValue() const override {
    return GuardMemory([&] { return ValueOf(handle()); });
  }

  void setNodeValue(std::string_view value) override {
    GuardMemory([&] { ReplaceValue(handle(), value); });
  }

  void setNodeBytes(const ByteString& bytes) override {
    const auto* const own = MemoryByteString::From(bytes);
    if (own == nullptr) {
      Interface::setNodeBytes(bytes);
      return;
    }
    GuardMemory([&] { ReplaceValueByBytes(handle(), own->Share()); });
  }

  void readNodeBytes(ByteString& bytes) const override {
    const SharedBytes* const held = handle().tree->BytesIn(node());
    if (held == nullptr) {
      bytes.SetHex(node().value());
    } else if (auto* const own = MemoryByteString::From(bytes)) {
      own->AssignShared(*held);
    } else {
      bytes.SetBytes(held->View());
    }
  }

  [[nodiscard]] std::string text() const override {
    return GuardMemory([&] { return LookAt(handle(), TextOf); });
  }

  void setText(std::string_view value) override {
    GuardMemory([&] { ReplaceText(handle(), value); });
  }

  [[nodiscard]] std::string xml() const override {
    return GuardMemory([&] { return LookAt(handle(), WriteXml); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> parentNode() const override {
    return GuardMemory([&] { return WrapNode(ParentOf(handle())); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> firstChild() const override {
    return GuardMemory([&] { return WrapNode(At(node().first_child())); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> nextSibling() const override {
    return GuardMemory([&] { return WrapNode(NextSiblingOf(handle())); });
  }

  [[nodiscard]] std::shared_ptr<DOMDocument> ownerDocument() const override {
    if (TypeOf(node()) == NodeType::kDocument) {
      return nullptr;
    }
    return GuardMemory([&] { return WrapDocument(handle().tree); });
  }

  std::shared_ptr<IXMLDOMNode> appendChild(const std::shared_ptr<IXMLDOMNode>& child) override {
    if (child == nullptr) {
      throw Error(error_number::kObjectNotSet);
    }
    GuardMemory([&] { AppendNode(handle(), HandleOf(*child)); });
    return child;
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> cloneNode(bool deep) const override {
    return GuardMemory([&] { return WrapNode(CloneNode(handle(), deep)); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> selectSingleNode(
      std::string_view path) const override {
    return GuardMemory([&] { return WrapNode(At(SelectFirst(handle(), path))); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNodeList> selectNodes(std::string_view path) const override {
    return GuardMemory(
        [&] { return std::make_shared<NodeList>(handle().tree, SelectAll(handle(), path)); });
  }

  void readChildTexts(std::string_view name, std::string_view part,
                      const std::function<void(const ChildText&)>& read) const override {
    GuardMemory([&] {
      LookAt(handle(), [&](pugi::xml_node node) { ReadChildTexts(node, name, part, read); });
    });
  }
};

using PlainNode = NodeOperations<IXMLDOMNode>;

class ElementNode final : public NodeOperations<IXMLDOMElement> {
 public:
  using NodeOperations::NodeOperations;

  [[nodiscard]] std::optional<std::string> getAttribute(std::string_view name) const override {
    return GuardMemory([&]() -> std::optional<std::string> {
      RequireNoNul(name);
      const pugi::xml_attribute attribute = node().attribute(std::string(name).c_str());
      if (attribute.empty()) {
        return std::nullopt;
      }
      return attribute.value();
    });
  }

  void setAttribute(std::string_view name, std::string_view value) override {
    GuardMemory([&] {
      RequireName(name);
      RequireNoNul(value);
      SetAttribute(node(), std::string(name).c_str(), value);
    });
  }

  void appendLeaves(std::span<const Leaf> leaves) override {
    GuardMemory([&] { AppendLeaves(node(), leaves); });
  }
};

/// A document of either kind.
template <typename Interface>
class DocumentNode final : public NodeOperations<Interface> {
 public:
  explicit DocumentNode(const std::shared_ptr<DocumentTree>& tree)
      : NodeOperations<Interface>({tree, tree->content()}) {}

  [[nodiscard]] std::shared_ptr<IXMLDOMElement> documentElement() const override {
    return GuardMemory([&] { return WrapElement(this->At(RootElementOf(this->node()))); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createNode(NodeType type, std::string_view name,
                                                        std::string_view namespaceURI) override {
    return GuardMemory([&] {
      const NodeHandle created = CreateNode(tree(), type, name, "");
      if (type == NodeType::kElement && !namespaceURI.empty()) {
        DeclareNamespace(created.node, namespaceURI);
      }
      return WrapNode(created);
    });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMElement> createElement(std::string_view name) override {
    return GuardMemory(
        [&] { return WrapElement(CreateNode(tree(), NodeType::kElement, name, "")); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createTextNode(std::string_view text) override {
    return GuardMemory([&] { return WrapNode(CreateNode(tree(), NodeType::kText, "", text)); });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createProcessingInstruction(
      std::string_view target, std::string_view data) override {
    return GuardMemory([&] {
      return WrapNode(CreateNode(tree(), NodeType::kProcessingInstruction, target, data));
    });
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> createDocumentFragment() override {
    return GuardMemory(
        [&] { return WrapNode(CreateNode(tree(), NodeType::kDocumentFragment, "", "")); });
  }

  void save(DOMDocument& target) const override {
    GuardMemory([&] {
      DocumentTree& copy = *HandleOf(target).tree;
      if (&copy == tree().get()) {
        return;
      }
      copy.ReplaceContent([&](pugi::xml_node content) {
        LookAt(this->handle(), [&](pugi::xml_node node) { AppendCopiesOfChildren(content, node); });
      });
    });
  }

  void loadXML(std::string_view text) override {
    tree()->Clear();
    GuardMemory(
        [&] { tree()->ReplaceContent([&](pugi::xml_node content) { ReadXml(text, content); }); });
  }

  [[nodiscard]] bool async() const override { return tree()->async(); }
  void setAsync(bool value) override { tree()->SetAsync(value); }

 private:
  [[nodiscard]] const std::shared_ptr<DocumentTree>& tree() const { return this->handle().tree; }
};

const NodeHandle& HandleOf(const IXMLDOMNode& node) {
  // Comparing types first saves the dynamic cast, which goes through all bases, for nearly all
  // nodes.
  if (typeid(node) == typeid(ElementNode)) {
    return static_cast<const ElementNode&>(node).handle();
  }
  if (typeid(node) == typeid(PlainNode)) {
    return static_cast<const PlainNode&>(node).handle();
  }
  const auto* own = dynamic_cast<const NodeObject*>(&node);
  if (own == nullptr) {
    throw Error(error_number::kTypeMismatch, "The node is of another platform");
  }
  return own->handle();
}

}  // namespace

std::shared_ptr<IXMLDOMNode> WrapNode(const NodeHandle& handle) {
  if (handle.node.empty()) {
    return nullptr;
  }
  switch (TypeOf(handle.node)) {
    case NodeType::kDocument:
      return WrapDocument(handle.tree);
    case NodeType::kElement:
      return WrapElement(handle);
    default:
      return std::make_shared<PlainNode>(handle);
  }
}

std::shared_ptr<IXMLDOMElement> WrapElement(const NodeHandle& handle) {
  return handle.node.empty() ? nullptr : std::make_shared<ElementNode>(handle);
}

std::shared_ptr<DOMDocument> WrapDocument(const std::shared_ptr<DocumentTree>& tree) {
  if (tree->kind() == DocumentTree::Kind::kFreeThreaded) {
    return std::make_shared<DocumentNode<FreeThreadedDOMDocument>>(tree);
  }
  return std::make_shared<DocumentNode<DOMDocument>>(tree);
}

std::shared_ptr<DOMDocument> NewDocument() {
  return GuardMemory(
      [] { return WrapDocument(std::make_shared<DocumentTree>(DocumentTree::Kind::kPlain)); });
}

std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument() {
  return GuardMemory([] {
    return std::make_shared<DocumentNode<FreeThreadedDOMDocument>>(
        std::make_shared<DocumentTree>(DocumentTree::Kind::kFreeThreaded));
  });
}

}  // namespace quillmark::portable
