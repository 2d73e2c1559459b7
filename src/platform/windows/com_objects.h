// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <memory>

#include "base/com/com_ptr.h"
#include "quillmark/byte_string.h"
#include "quillmark/checksum_calculator.h"
#include "quillmark/dom.h"
#include "quillmark/error.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"

/// From a host's COM objects to the component's interfaces and back. Nothing corresponds to null.
namespace quillmark::windows {

/// A new object of the class `prog_id`, by the interface `iid`; `class_id` says which class it is.
/// Raises 429, with a text that names the class, if it is not registered, otherwise the failure of
/// the class with the same text.
[[nodiscard]] com::ComPtr<IUnknown> CreateObject(const wchar_t* prog_id, REFIID iid,
                                                 CLSID& class_id);

/// An object of the host's diagnostic library, reached by the names of its members. Its members are
/// looked up when they are used: a missing one raises 438, which names it.
[[nodiscard]] std::shared_ptr<ByteString> WrapByteString(com::ComPtr<IDispatch> object);
[[nodiscard]] std::shared_ptr<MemoryImage> WrapMemoryImage(com::ComPtr<IDispatch> object);
[[nodiscard]] std::shared_ptr<MemoryMap> WrapMemoryMap(com::ComPtr<IDispatch> object);
[[nodiscard]] std::shared_ptr<ChecksumCalculator> WrapChecksumCalculator(
    com::ComPtr<IDispatch> object);

/// An MSXML document or node. Raises 13 for any other object.
[[nodiscard]] std::shared_ptr<DOMDocument> WrapDocument(const com::ComPtr<IUnknown>& object);
[[nodiscard]] std::shared_ptr<IXMLDOMNode> WrapNode(const com::ComPtr<IUnknown>& object);

/// Implemented by every object of this platform that wraps a COM object.
class ComBacked {
 public:
  ComBacked() = default;
  ComBacked(const ComBacked&) = delete;
  ComBacked& operator=(const ComBacked&) = delete;
  ComBacked(ComBacked&&) = delete;
  ComBacked& operator=(ComBacked&&) = delete;

  [[nodiscard]] virtual IDispatch& Dispatch() const = 0;

 protected:
  ~ComBacked() = default;
};

/// The COM object behind an object of the host's library, a document or a node. Raises 13 for an
/// object of another platform.
template <typename Interface>
[[nodiscard]] com::ComPtr<IDispatch> DispatchOf(const std::shared_ptr<Interface>& object) {
  if (object == nullptr) {
    return {};
  }
  const auto* const backed = dynamic_cast<const ComBacked*>(object.get());
  if (backed == nullptr) {
    throw Error(error_number::kTypeMismatch, "The object is of another platform");
  }
  return com::Share(&backed->Dispatch());
}

}  // namespace quillmark::windows
