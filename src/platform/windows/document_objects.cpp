// SPDX-License-Identifier: MIT
#include <utility>

#include "platform/portable/portable_platform_factory.h"
#include "platform/shared/node_operations.h"
#include "platform/windows/com_objects.h"
#include "platform/windows/document_content.h"
#include "platform/windows/host_types.h"
#include "platform/windows/msxml_nodes.h"
#include "platform/windows/windows_platform.h"

namespace quillmark::windows {
namespace {

/// The base of every node object of this platform, whatever its interface.
class NodeObject : public ComBacked {
 public:
  explicit NodeObject(NodeHandle handle) : handle_(std::move(handle)) {}

  [[nodiscard]] IDispatch& Dispatch() const override { return *handle_.node; }
  [[nodiscard]] const NodeHandle& handle() const { return handle_; }

 protected:
  ~NodeObject() = default;

 private:
  NodeHandle handle_;
};

struct Types {
  using Handle = NodeHandle;
  using Object = NodeObject;
  using Plain = nodes::NodeOperations<IXMLDOMNode, Types>;
  using Element = nodes::ElementOperations<Types>;
  template <typename Interface>
  using Document = nodes::DocumentOperations<Interface, Types>;
};

/// An empty document of a class of MSXML.
template <typename Interface>
std::shared_ptr<Interface> New(const wchar_t* prog_id, bool is_free_threaded) {
  CLSID class_id;
  const auto created = CreateObject(prog_id, __uuidof(MsxmlDocument), class_id).As<MsxmlNode>();
  const NodeHandle document = {created, is_free_threaded};
  SetAsync(document, false);
  return std::make_shared<Types::Document<Interface>>(document);
}

}  // namespace

std::shared_ptr<DOMDocument> NewDocument() { return New<DOMDocument>(kDocumentClass, false); }

std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument() {
  return New<FreeThreadedDOMDocument>(kFreeThreadedDocumentClass, true);
}

std::shared_ptr<IXMLDOMNode> WrapNode(const com::ComPtr<IUnknown>& object) {
  auto node = object.As<MsxmlNode>();
  if (object && !node) {
    throw Error(error_number::kTypeMismatch);
  }
  return nodes::Wrap<Types>({std::move(node), false});
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
  return nodes::WrapDocument<Types>({com::Share<MsxmlNode>(document.get()), false});
}

}  // namespace quillmark::windows

namespace quillmark::portable {

// The threads of its callers know nothing of apartments.

std::shared_ptr<DOMDocument> NewDocument() {
  windows::KeepMultithreadedApartment();
  return windows::NewDocument();
}

std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument() {
  windows::KeepMultithreadedApartment();
  return windows::NewFreeThreadedDocument();
}

}  // namespace quillmark::portable
