// SPDX-License-Identifier: MIT
#include <utility>

#include "platform/portable/memory_byte_string.h"
#include "platform/portable/node_selection.h"
#include "platform/portable/portable_platform_factory.h"
#include "platform/portable/tree_operations.h"
#include "platform/shared/node_operations.h"

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

 private:
  NodeHandle handle_;
};

/// `Operations` with the faster ways that this platform has for every node.
template <typename Operations>
class FastNode : public Operations {
 public:
  using Operations::Operations;

  void setNodeBytes(const ByteString& bytes) override {
    const auto* const own = MemoryByteString::From(bytes);
    if (own == nullptr) {
      Operations::setNodeBytes(bytes);
      return;
    }
    GuardMemory([&] { WriteBytes(this->handle(), own->Share()); });
  }

  void readNodeBytes(ByteString& bytes) const override {
    const SharedBytes* const held = this->handle().tree->BytesIn(this->handle());
    if (held == nullptr) {
      bytes.SetHex(this->handle().node.value());
    } else if (auto* const own = MemoryByteString::From(bytes)) {
      own->AssignShared(*held);
    } else {
      bytes.SetBytes(held->View());
    }
  }

  void readChildTexts(std::string_view name, std::string_view part,
                      const std::function<void(const ChildText&)>& read) const override {
    GuardMemory([&] {
      LookAt(this->handle(), [&](pugi::xml_node node) { ReadChildTexts(node, name, part, read); });
    });
  }
};

class FastElement;

struct Types {
  using Handle = NodeHandle;
  using Object = NodeObject;
  using Plain = FastNode<nodes::NodeOperations<IXMLDOMNode, Types>>;
  using Element = FastElement;
  template <typename Interface>
  using Document = FastNode<nodes::DocumentOperations<Interface, Types>>;
};

class FastElement final : public FastNode<nodes::ElementOperations<Types>> {
 public:
  using FastNode::FastNode;

  void appendLeaves(std::span<const Leaf> leaves) override {
    GuardMemory([&] { AppendLeaves(handle(), leaves); });
  }
};

/// An empty document.
template <typename Interface>
std::shared_ptr<Interface> New(DocumentTree::Kind kind) {
  return GuardMemory([&] {
    return std::make_shared<Types::Document<Interface>>(
        ContentOf(std::make_shared<DocumentTree>(kind)));
  });
}

}  // namespace

std::shared_ptr<DOMDocument> NewDocument() { return New<DOMDocument>(DocumentTree::Kind::kPlain); }

std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument() {
  return New<FreeThreadedDOMDocument>(DocumentTree::Kind::kFreeThreaded);
}

}  // namespace quillmark::portable
