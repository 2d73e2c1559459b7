// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <functional>

#include "quillmark/portable_platform.h"
#include "support/expect_error.h"
#include "support/failing_allocator.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

/// Long enough that no string and no page has room for it.
const std::string kLong(100'000, 'F');
const std::string kLongName(40'000, 'n');

/// Runs `operation` with its first, second, … allocation failing, until none of them fails. Each
/// failure must raise 7 and leave `state` as it was.
void ExpectOutOfMemoryEverywhere(const std::function<void()>& operation,
                                 const std::function<std::string()>& state) {
  const std::string before = state();
  for (std::size_t index = 0;; ++index) {
    std::optional<Raised> raised;
    bool has_failed = false;
    {
      const FailingAllocation failing(index);
      raised = RaisedBy(operation);
      has_failed = failing.HasFailed();
    }
    if (!has_failed) {
      EXPECT_EQ(raised, std::nullopt);
      EXPECT_GT(index, 0U) << "the operation allocates nothing";
      return;
    }
    ASSERT_EQ(raised, (Raised{7, "Out of memory"})) << "allocation " << index;
    ASSERT_EQ(state(), before) << "allocation " << index;
  }
}

class OutOfMemory : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { WatchXmlLibrary(); }

  void SetUp() override {
    platform_ = MakePortablePlatform();
    document_ = platform_->CreateDOMDocument();
    document_->loadXML(kEverything);
    large_ = platform_->CreateDOMDocument();
    const auto root = large_->createElement(kLongName);
    root->setAttribute(kLongName, kLong);
    root->setText(kLong);
    root->appendChild(large_->createProcessingInstruction(kLongName, kLong));
    large_->appendChild(root);
  }

  void ExpectEverywhere(const std::function<void()>& operation) {
    ExpectOutOfMemoryEverywhere(operation, [&] { return document_->xml(); });
  }

  std::shared_ptr<PortablePlatform> platform_;
  std::shared_ptr<DOMDocument> document_;
  std::shared_ptr<DOMDocument> large_;
};

TEST_F(OutOfMemory, CreatingDocuments) {
  ExpectEverywhere([&] { static_cast<void>(platform_->CreateDOMDocument()); });
  ExpectEverywhere([&] { static_cast<void>(platform_->CreateFreeThreadedDOMDocument()); });
}

TEST_F(OutOfMemory, CreatingNodes) {
  ExpectEverywhere([&] { static_cast<void>(document_->createElement(kLongName)); });
  ExpectEverywhere([&] { static_cast<void>(document_->createTextNode(kLong)); });
  ExpectEverywhere(
      [&] { static_cast<void>(document_->createProcessingInstruction(kLongName, kLong)); });
  ExpectEverywhere([&] { static_cast<void>(document_->createDocumentFragment()); });
  ExpectEverywhere(
      [&] { static_cast<void>(document_->createNode(NodeType::kElement, kLongName, kLong)); });
}

TEST_F(OutOfMemory, ChangingNodes) {
  const auto element = document_->documentElement();
  const auto text = document_->selectSingleNode("/can/x/text()");
  ExpectEverywhere([&] { element->setAttribute("i", kLong); });
  ExpectEverywhere([&] { element->setAttribute(kLongName, kLong); });
  ExpectEverywhere([&] { text->setNodeValue(kLong); });
  ExpectEverywhere([&] { element->setText(kLong); });
}

TEST_F(OutOfMemory, HoldingBytes) {
  const auto bytes = platform_->CreateByteString();
  bytes->SetHex(kLong);
  const auto text = document_->selectSingleNode("/can/x/text()");
  ExpectEverywhere([&] { text->setNodeBytes(*bytes); });
  ExpectEverywhere([&] { static_cast<void>(text->nodeValue()); });
  ExpectEverywhere([&] { static_cast<void>(document_->xml()); });
  ExpectEverywhere([&] { static_cast<void>(document_->selectSingleNode("//text()")); });
  ExpectEverywhere([&] { static_cast<void>(document_->cloneNode(true)); });
  ExpectEverywhere([&] { static_cast<void>(document_->documentElement()->cloneNode(true)); });
}

TEST_F(OutOfMemory, ReadingNodes) {
  const auto element = large_->documentElement();
  ExpectEverywhere([&] { static_cast<void>(element->nodeName()); });
  ExpectEverywhere([&] { static_cast<void>(element->text()); });
  ExpectEverywhere([&] { static_cast<void>(element->xml()); });
  ExpectEverywhere([&] { static_cast<void>(element->getAttribute(kLongName)); });
  ExpectEverywhere([&] { static_cast<void>(element->firstChild()->nodeValue()); });
  ExpectEverywhere([&] { static_cast<void>(element->parentNode()); });
  ExpectEverywhere([&] { static_cast<void>(element->ownerDocument()); });
}

TEST_F(OutOfMemory, Cloning) {
  ExpectEverywhere([&] { static_cast<void>(large_->cloneNode(true)); });
  ExpectEverywhere([&] { static_cast<void>(large_->documentElement()->cloneNode(true)); });
  ExpectEverywhere([&] { static_cast<void>(document_->documentElement()->cloneNode(true)); });
}

TEST_F(OutOfMemory, AppendingRows) {
  const auto x = document_->documentElement();
  const std::vector<Leaf> plain = {{"s", "d", "0210C0"}, {"r", "c", ""}, {"w", "", kLong}};
  ExpectEverywhere([&] { x->appendLeaves(plain); });
  const std::vector<Leaf> with_markup = {{"s", "d", "1"}, {kLongName, "d", "<&>"}};
  ExpectEverywhere([&] { x->appendLeaves(with_markup); });
  std::vector<Leaf> many(50, {"s", "d", "0210C0"});
  many.push_back({"w", "", kLong});
  ExpectEverywhere([&] { x->appendLeaves(many); });
}

TEST_F(OutOfMemory, Saving) {
  ExpectEverywhere([&] { large_->save(*document_); });
  EXPECT_EQ(document_->xml(), large_->xml());
}

TEST_F(OutOfMemory, LoadingLeavesTheDocumentEmpty) {
  const std::string xml = large_->xml();
  const auto document = platform_->CreateDOMDocument();
  ExpectOutOfMemoryEverywhere([&] { document->loadXML(xml); }, [&] { return document->xml(); });
  EXPECT_EQ(document->xml(), xml);
}

TEST_F(OutOfMemory, Selecting) {
  ExpectEverywhere([&] { static_cast<void>(document_->selectSingleNode("/can/x")); });
  ExpectEverywhere([&] { static_cast<void>(document_->selectNodes("//e | /can/x/text()")); });
  const auto list = document_->selectNodes("//e");
  ExpectEverywhere([&] { static_cast<void>(list->item(0)); });
}

TEST_F(OutOfMemory, ByteStrings) {
  const auto other = platform_->CreateByteString();
  other->SetHex(std::string(2000, 'F'));
  const auto large = platform_->CreateByteString();
  large->SetHex(kLong);
  const auto expect = [&](const std::function<void(ByteString&)>& operation) {
    const auto string = platform_->CreateByteString();
    string->SetHex("0102");
    ExpectOutOfMemoryEverywhere([&] { operation(*string); }, [&] { return string->Hex(); });
  };
  expect([&](ByteString&) { static_cast<void>(platform_->CreateByteString()); });
  expect([&](ByteString& string) { string.SetHex(kLong); });
  expect([&](ByteString& string) { string.Assign(*large->Mid(1, 5000)); });
  const std::vector<std::uint8_t> bytes(1000);
  expect([&](ByteString& string) { string.SetBytes(bytes); });
  expect([&](ByteString& string) { string.SetLength(1000); });
  expect([&](ByteString& string) { static_cast<void>(string.Clone()); });
  expect([&](ByteString& string) { static_cast<void>(string.Mid(1, 1)); });
  expect([&](ByteString& string) { string.Mid(3, 0)->Assign(*other); });
  expect([&](ByteString&) { static_cast<void>(other->Hex()); });
}

TEST_F(OutOfMemory, WritingToASharedByteString) {
  const auto expect = [&](const std::function<void(ByteString&)>& operation) {
    const auto string = platform_->CreateByteString();
    string->SetHex(kLong);
    const auto copy = string->Clone();
    ExpectOutOfMemoryEverywhere([&] { operation(*string); },
                                [&] { return string->Hex() + copy->Hex(); });
  };
  expect([](ByteString& string) { string.SetItem(1, 0); });
  expect([](ByteString& string) { string.SetLength(1); });
  const std::vector<std::uint8_t> bytes(5000);
  expect([&](ByteString& string) { string.SetBytes(bytes); });
  expect([](ByteString& string) { string.Mid(1, 1)->SetHex("00"); });
}

TEST_F(OutOfMemory, ImagesAndMaps) {
  const auto segment = platform_->CreateByteString();
  segment->SetHex("0102");
  const auto image = platform_->CreateMemoryImage();
  ExpectOutOfMemoryEverywhere([&] { image->AddSegment(*segment); },
                              [&] { return std::to_string(image->Segments().size()); });
  const auto map = platform_->CreateMemoryMap();
  ExpectOutOfMemoryEverywhere([&] { map->AddRange(1, 2); },
                              [&] { return std::to_string(map->Ranges().size()); });
}

TEST_F(OutOfMemory, StartingAWorkerGivesAStatus) {
  for (std::size_t index = 0;; ++index) {
    std::int32_t status = 0;
    bool has_failed = false;
    {
      const FailingAllocation failing(index);
      status = platform_->StartThread("No.Such", {}, nullptr);
      has_failed = failing.HasFailed();
    }
    EXPECT_EQ(platform_->RunningWorkers(), 0U);
    if (!has_failed) {
      EXPECT_EQ(status, PortablePlatform::kClassNotRegistered);
      EXPECT_GT(index, 0U);
      return;
    }
    ASSERT_EQ(status, PortablePlatform::kThreadNotStarted) << "allocation " << index;
  }
}

}  // namespace
}  // namespace quillmark::testing
