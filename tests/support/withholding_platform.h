// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/failing_platform.h"

namespace quillmark::testing {

/// Counts the objects that a platform, its documents and its host types give, and withholds one.
class Giver {
 public:
  /// Withholds nothing.
  Giver() = default;
  /// Withholds the object `index`, counted from 0.
  explicit Giver(std::size_t index) : withheld_(index) {}

  [[nodiscard]] bool HasWithheld() const { return has_withheld_; }
  /// Whether it was one that must never be missing.
  [[nodiscard]] bool WasDue() const { return was_due_; }

  /// An object that must always be given, such as a new one.
  template <typename T>
  std::shared_ptr<T> Due(std::shared_ptr<T> object) {
    return Give(std::move(object), true);
  }
  /// An object that may be missing, such as the next sibling.
  template <typename T>
  std::shared_ptr<T> IfAny(std::shared_ptr<T> object) {
    return object ? Give(std::move(object), false) : nullptr;
  }

 private:
  template <typename T>
  std::shared_ptr<T> Give(std::shared_ptr<T> object, bool is_due) {
    if (count_++ != withheld_) {
      return object;
    }
    has_withheld_ = true;
    was_due_ = is_due;
    return nullptr;
  }

  std::optional<std::size_t> withheld_;
  std::size_t count_ = 0;
  bool has_withheld_ = false;
  bool was_due_ = false;
};

class WithholdingByteString final : public ForwardingByteString {
 public:
  WithholdingByteString(std::shared_ptr<ByteString> string, Giver& giver)
      : ForwardingByteString(std::move(string)), giver_(giver) {}

  std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) override {
    return Given(ForwardingByteString::Mid(start, count));
  }
  std::shared_ptr<ByteString> Clone() const override {
    return Given(ForwardingByteString::Clone());
  }

 private:
  [[nodiscard]] std::shared_ptr<ByteString> Given(std::shared_ptr<ByteString> string) const {
    return giver_.Due<ByteString>(
        std::make_shared<WithholdingByteString>(std::move(string), giver_));
  }

  Giver& giver_;
};

class WithholdingImage final : public MemoryImage {
 public:
  WithholdingImage(std::shared_ptr<MemoryImage> image, Giver& giver)
      : image_(std::move(image)), giver_(giver) {}

  void AddSegment(const ByteString& segment) override { image_->AddSegment(segment); }
  std::vector<std::shared_ptr<ByteString>> Segments() const override {
    auto segments = image_->Segments();
    for (auto& segment : segments) {
      segment = giver_.Due<ByteString>(std::make_shared<WithholdingByteString>(segment, giver_));
    }
    return segments;
  }

 private:
  std::shared_ptr<MemoryImage> image_;
  Giver& giver_;
};

class WithholdingMap final : public MemoryMap {
 public:
  WithholdingMap(std::shared_ptr<MemoryMap> map, Giver& giver)
      : map_(std::move(map)), giver_(giver) {}

  void AddRange(std::int32_t start, std::int32_t count) override { map_->AddRange(start, count); }
  std::vector<std::shared_ptr<MemoryRange>> Ranges() const override {
    auto ranges = map_->Ranges();
    for (auto& range : ranges) {
      range = giver_.Due(range);
    }
    return ranges;
  }

 private:
  std::shared_ptr<MemoryMap> map_;
  Giver& giver_;
};

/// The node behind one of the nodes below.
class HasInnerNode {
 public:
  virtual ~HasInnerNode() = default;
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> Inner() const = 0;
};

inline std::shared_ptr<IXMLDOMNode> InnerOf(const std::shared_ptr<IXMLDOMNode>& node) {
  return node ? dynamic_cast<const HasInnerNode&>(*node).Inner() : nullptr;
}

/// A node of `inner`'s own kind that withholds; none for none.
std::shared_ptr<IXMLDOMNode> Withholding(const std::shared_ptr<IXMLDOMNode>& inner, Giver& giver);

/// The same by its interface.
template <typename Interface>
std::shared_ptr<Interface> WithholdingAs(const std::shared_ptr<IXMLDOMNode>& inner, Giver& giver) {
  return std::dynamic_pointer_cast<Interface>(Withholding(inner, giver));
}

class WithholdingList final : public IXMLDOMNodeList {
 public:
  WithholdingList(std::shared_ptr<IXMLDOMNodeList> list, Giver& giver)
      : list_(std::move(list)), giver_(giver) {}

  std::size_t length() const override { return list_->length(); }
  std::shared_ptr<IXMLDOMNode> item(std::size_t index) const override {
    return giver_.Due(Withholding(list_->item(index), giver_));
  }

 private:
  std::shared_ptr<IXMLDOMNodeList> list_;
  Giver& giver_;
};

template <typename Interface>
class WithholdingNode : public Interface, public HasInnerNode {
 public:
  WithholdingNode(std::shared_ptr<Interface> inner, Giver& giver)
      : inner_(std::move(inner)), giver_(giver) {}

  std::shared_ptr<IXMLDOMNode> Inner() const override { return inner_; }

  NodeType nodeType() const override { return inner_->nodeType(); }
  std::string nodeName() const override { return inner_->nodeName(); }
  std::string nodeValue() const override { return inner_->nodeValue(); }
  void setNodeValue(std::string_view value) override { inner_->setNodeValue(value); }
  std::string text() const override { return inner_->text(); }
  void setText(std::string_view value) override { inner_->setText(value); }
  std::string xml() const override { return inner_->xml(); }
  std::shared_ptr<IXMLDOMNode> parentNode() const override { return IfAny(inner_->parentNode()); }
  std::shared_ptr<IXMLDOMNode> firstChild() const override { return IfAny(inner_->firstChild()); }
  std::shared_ptr<IXMLDOMNode> nextSibling() const override { return IfAny(inner_->nextSibling()); }
  std::shared_ptr<DOMDocument> ownerDocument() const override {
    return giver_.Due(WithholdingAs<DOMDocument>(inner_->ownerDocument(), giver_));
  }
  std::shared_ptr<IXMLDOMNode> appendChild(const std::shared_ptr<IXMLDOMNode>& child) override {
    inner_->appendChild(InnerOf(child));
    return child;
  }
  std::shared_ptr<IXMLDOMNode> cloneNode(bool deep) const override {
    return giver_.Due(Withholding(inner_->cloneNode(deep), giver_));
  }
  std::shared_ptr<IXMLDOMNode> selectSingleNode(std::string_view path) const override {
    return IfAny(inner_->selectSingleNode(path));
  }
  std::shared_ptr<IXMLDOMNodeList> selectNodes(std::string_view path) const override {
    return giver_.Due<IXMLDOMNodeList>(
        std::make_shared<WithholdingList>(inner_->selectNodes(path), giver_));
  }

 protected:
  std::shared_ptr<IXMLDOMNode> IfAny(const std::shared_ptr<IXMLDOMNode>& node) const {
    return giver_.IfAny(Withholding(node, giver_));
  }
  template <typename Made>
  std::shared_ptr<Made> Due(const std::shared_ptr<Made>& node) const {
    return giver_.Due(WithholdingAs<Made>(node, giver_));
  }
  Interface& inner() const { return *inner_; }

 private:
  std::shared_ptr<Interface> inner_;
  Giver& giver_;
};

class WithholdingElement final : public WithholdingNode<IXMLDOMElement> {
 public:
  using WithholdingNode::WithholdingNode;

  std::optional<std::string> getAttribute(std::string_view name) const override {
    return inner().getAttribute(name);
  }
  void setAttribute(std::string_view name, std::string_view value) override {
    inner().setAttribute(name, value);
  }
};

template <typename Interface>
class WithholdingDocument final : public WithholdingNode<Interface> {
 public:
  using WithholdingNode<Interface>::WithholdingNode;

  std::shared_ptr<IXMLDOMElement> documentElement() const override {
    return std::dynamic_pointer_cast<IXMLDOMElement>(this->IfAny(this->inner().documentElement()));
  }
  std::shared_ptr<IXMLDOMNode> createNode(NodeType type, std::string_view name,
                                          std::string_view namespaceURI) override {
    return this->Due(this->inner().createNode(type, name, namespaceURI));
  }
  std::shared_ptr<IXMLDOMElement> createElement(std::string_view name) override {
    return this->Due(this->inner().createElement(name));
  }
  std::shared_ptr<IXMLDOMNode> createTextNode(std::string_view text) override {
    return this->Due(this->inner().createTextNode(text));
  }
  std::shared_ptr<IXMLDOMNode> createProcessingInstruction(std::string_view target,
                                                           std::string_view data) override {
    return this->Due(this->inner().createProcessingInstruction(target, data));
  }
  std::shared_ptr<IXMLDOMNode> createDocumentFragment() override {
    return this->Due(this->inner().createDocumentFragment());
  }
  void save(DOMDocument& target) const override {
    const auto inner = dynamic_cast<const HasInnerNode&>(target).Inner();
    this->inner().save(dynamic_cast<DOMDocument&>(*inner));
  }
  void loadXML(std::string_view text) override { this->inner().loadXML(text); }
  bool async() const override { return this->inner().async(); }
  void setAsync(bool value) override { this->inner().setAsync(value); }
};

inline std::shared_ptr<IXMLDOMNode> Withholding(const std::shared_ptr<IXMLDOMNode>& inner,
                                                Giver& giver) {
  if (auto document = std::dynamic_pointer_cast<FreeThreadedDOMDocument>(inner)) {
    return std::make_shared<WithholdingDocument<FreeThreadedDOMDocument>>(document, giver);
  }
  if (auto document = std::dynamic_pointer_cast<DOMDocument>(inner)) {
    return std::make_shared<WithholdingDocument<DOMDocument>>(document, giver);
  }
  if (auto element = std::dynamic_pointer_cast<IXMLDOMElement>(inner)) {
    return std::make_shared<WithholdingElement>(element, giver);
  }
  return inner ? std::make_shared<WithholdingNode<IXMLDOMNode>>(inner, giver) : nullptr;
}

/// The tested platform, one of whose objects is missing.
class WithholdingPlatform final : public FaultyPlatform {
 public:
  Giver& giver() { return giver_; }

  std::shared_ptr<DOMDocument> CreateDOMDocument() override {
    return giver_.Due(WithholdingAs<DOMDocument>(ForwardingPlatform::CreateDOMDocument(), giver_));
  }
  std::shared_ptr<FreeThreadedDOMDocument> CreateFreeThreadedDOMDocument() override {
    return giver_.Due(WithholdingAs<FreeThreadedDOMDocument>(
        ForwardingPlatform::CreateFreeThreadedDOMDocument(), giver_));
  }
  std::shared_ptr<ByteString> CreateByteString() override {
    return giver_.Due<ByteString>(
        std::make_shared<WithholdingByteString>(ForwardingPlatform::CreateByteString(), giver_));
  }
  std::shared_ptr<MemoryImage> CreateMemoryImage() override {
    return giver_.Due<MemoryImage>(
        std::make_shared<WithholdingImage>(ForwardingPlatform::CreateMemoryImage(), giver_));
  }
  std::shared_ptr<MemoryMap> CreateMemoryMap() override {
    return giver_.Due<MemoryMap>(
        std::make_shared<WithholdingMap>(ForwardingPlatform::CreateMemoryMap(), giver_));
  }
  std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override {
    return giver_.Due(ForwardingPlatform::CreateChecksumCalculator());
  }
  /// Nothing is asked of a started worker here.
  std::int32_t StartThread(std::string_view /*progID*/, ParameterList /*parameters*/,
                           const std::shared_ptr<Object>& /*client*/) override {
    return 0;
  }

 private:
  Giver giver_;
};

}  // namespace quillmark::testing
