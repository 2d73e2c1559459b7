// SPDX-License-Identifier: MIT
// Every object that a platform, its documents and the host's types give, missing in turn through
// each public operation: error 91 and an object that continues working.
#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/component_test.h"
#include "support/failing_platform.h"
#include "support/operations.h"
#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

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

using ::testing::ElementsAre;

const Raised kObjectNotSet{91, kNotSet};

class MissingObject : public ::testing::TestWithParam<Form> {
 protected:
  MissingObject() { diag_->CANIDs(GetParam().RCANId, GetParam().XCANId); }

  /// Runs `operation` with each object that it asks for missing in turn, until none is left; then
  /// it ends like any other call. A missing object that is allowed to be missing may end it in any
  /// orderly way.
  void ExpectNotSet(const Operation& operation) {
    const auto& [name, call, expected] = operation;
    const std::string before = XmlOf(*diag_->TesterPresent());
    for (std::size_t index = 0;; ++index) {
      platform_->giver() = Giver(index);
      const auto raised = RaisedBy(call);
      const Giver asked = std::exchange(platform_->giver(), Giver());
      if (!asked.HasWithheld()) {
        EXPECT_EQ(raised, expected) << name;
        return;
      }
      if (asked.WasDue()) {
        EXPECT_EQ(raised, kObjectNotSet) << name << ", object " << index;
      }
      if (raised) {
        EXPECT_EQ(XmlOf(*diag_->TesterPresent()), before) << name << ", object " << index;
      }
    }
  }

  /// An image or a map of three parts.
  [[nodiscard]] std::shared_ptr<MemoryImage> Image() const {
    auto image = platform_->CreateMemoryImage();
    const auto segment = arguments_.String("0102");
    for (const std::int32_t address : {16, 32, 48}) {
      segment->SetStartAddress(address);
      image->AddSegment(*segment);
    }
    return image;
  }
  [[nodiscard]] std::shared_ptr<MemoryMap> Map() const {
    auto map = platform_->CreateMemoryMap();
    for (const std::int32_t address : {16, 32, 48}) {
      map->AddRange(address, 2);
    }
    return map;
  }

  const std::shared_ptr<WithholdingPlatform> platform_ = std::make_shared<WithholdingPlatform>();
  const OperationArguments arguments_{platform_, GetParam()};
  const std::shared_ptr<DiagOnCANReprog> diag_ = CreateDiagOnCANReprog(platform_);
};

TEST_P(MissingObject, IsNotSetInConfiguration) {
  ExpectNotSet({"CANIDs", [this] { diag_->CANIDs(GetParam().RCANId, GetParam().XCANId); }});
}

TEST_P(MissingObject, IsNotSetInRequests) {
  for (const Operation& request : Requests(arguments_, *diag_)) {
    ExpectNotSet(request);
  }
}

TEST_P(MissingObject, IsNotSetInChecks) {
  for (const Operation& check : Checks(arguments_, *diag_)) {
    ExpectNotSet(check);
  }
}

TEST_P(MissingObject, IsNotSetInAnUpload) {
  const auto document = arguments_.RepliedBehind("81", {"758001234502AABB0245"});
  const auto image = Image();
  ExpectNotSet({"checkupload", [&] { diag_->checkupload(document, image); }});
}

TEST_P(MissingObject, IsNotSetAtTheStartOfATransfer) {
  const auto image = Image();
  const auto map = Map();
  ExpectNotSet({"ComputeDownload", [&] { diag_->ComputeDownload(0x80, image, 0xFF, 1, 128); }});
  ExpectNotSet({"ComputeUpload", [&] { diag_->ComputeUpload(map, 0x80); }});
}

/// A worker driven by hand, as a threading library drives it.
class WorkerMissingObject : public MissingObject {
 protected:
  /// Every missing object is an error of `GetParameter` or ends the run with an empty node.
  void ExpectErrorOrEmptyNode(const std::string& transfer) {
    const std::shared_ptr<DOMDocument> document = platform_->CreateFreeThreadedDOMDocument();
    for (std::size_t index = 0;; ++index) {
      document->loadXML(transfer);
      pieces_.clear();
      platform_->giver() = Giver(index);
      const auto raised = RaisedBy([&] { Run(document); });
      const Giver asked = std::exchange(platform_->giver(), Giver());
      if (!asked.HasWithheld()) {
        EXPECT_THAT(pieces_, ElementsAre("document", "none"));
        return;
      }
      if (raised) {
        EXPECT_EQ(raised, kObjectNotSet) << "object " << index;
      } else {
        EXPECT_EQ(pieces_.empty() ? "nothing" : pieces_.back(), "none") << "object " << index;
      }
    }
  }

 private:
  class Client final : public XMLDocClient {
   public:
    explicit Client(std::vector<std::string>& pieces) : pieces_(pieces) {}
    bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override {
      pieces_.emplace_back(xml ? "document" : "none");
      return true;
    }

   private:
    std::vector<std::string>& pieces_;
  };

  void Run(const std::shared_ptr<DOMDocument>& document) {
    const auto worker = CreateDiagOnCANReprog(platform_);
    const std::int32_t receive = GetParam().RCANId;
    const std::int32_t send = GetParam().XCANId;
    const std::uint8_t rl = 0x80;
    const std::int32_t one = 1;
    const std::int32_t max_size = 64;
    const std::int32_t zero = 0;
    worker->GetParameter(std::array<Parameter, 9>{&receive, &send, &document, &rl, &rl, &one,
                                                  &max_size, &one, &zero});
    EXPECT_EQ(worker->EntryPoint(std::make_shared<Client>(pieces_)), 0);
  }

  std::vector<std::string> pieces_;
};

TEST_P(WorkerMissingObject, EndsADownload) {
  ExpectErrorOrEmptyNode(
      R"(<image><segment at="0">0102</segment><segment at="8">03</segment></image>)");
}

TEST_P(WorkerMissingObject, EndsAnUpload) {
  ExpectErrorOrEmptyNode(
      R"(<map><segment at="0" count="100"/><segment at="256" count="1"/></map>)");
}

TEST(MissingParameter, IsNotSet) {
  const auto worker = CreateDiagOnCANReprog(TestPlatform());
  const std::int32_t one = 1;
  const std::int32_t* const no_long = nullptr;
  const std::uint8_t* const no_byte = nullptr;
  const std::shared_ptr<DOMDocument>* const no_document = nullptr;
  EXPECT_ERROR(worker->GetParameter(std::array<Parameter, 3>{no_long, &one, no_document}), 91,
               kNotSet);
  EXPECT_ERROR(worker->GetParameter(std::array<Parameter, 3>{&one, no_byte, no_document}), 91,
               kNotSet);
  EXPECT_ERROR(worker->GetParameter(std::array<Parameter, 3>{&one, &one, no_document}), 91,
               kNotSet);
}

INSTANTIATE_TEST_SUITE_P(Forms, MissingObject, ::testing::ValuesIn(kAllForms), FormName());
INSTANTIATE_TEST_SUITE_P(Forms, WorkerMissingObject, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
