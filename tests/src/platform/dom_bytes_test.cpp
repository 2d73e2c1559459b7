// SPDX-License-Identifier: MIT
// A value that is set and read as bytes: on this platform, which keeps them, and as every other
// platform inherits it, by way of their text.
#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "support/expect_error.h"
#include "tests/src/platform/naive_byte_string.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

using Strings = std::shared_ptr<ByteString> (*)();

std::shared_ptr<ByteString> NewString() { return MakePortablePlatform()->CreateByteString(); }

std::shared_ptr<ByteString> StringOf(Strings strings, std::string_view hex) {
  auto string = strings();
  string->SetHex(hex);
  return string;
}

/// `<image><segment>0AFF</segment>…</image>`, whose texts were set as bytes of a host's type.
class DomBytes : public ::testing::TestWithParam<Strings> {
 protected:
  DomBytes() {
    document_->appendChild(root_);
    Add("0AFF");
  }

  /// A segment more; returns its text node.
  std::shared_ptr<IXMLDOMNode> Add(std::string_view hex) {
    const auto segment = root_->appendChild(document_->createElement("segment"));
    auto text = segment->appendChild(document_->createTextNode({}));
    text->setNodeBytes(*StringOf(GetParam(), hex));
    return text;
  }

  [[nodiscard]] std::shared_ptr<IXMLDOMNode> Text() const {
    return root_->firstChild()->firstChild();
  }

  static std::string HexOf(const IXMLDOMNode& node) {
    const auto string = GetParam()();
    node.readNodeBytes(*string);
    return string->Hex();
  }

  const std::shared_ptr<DOMDocument> document_ =
      MakePortablePlatform()->CreateFreeThreadedDOMDocument();
  const std::shared_ptr<IXMLDOMNode> root_ = document_->createElement("image");
};

TEST_P(DomBytes, AreReadBack) {
  EXPECT_EQ(HexOf(*Text()), "0AFF");
  const auto other = NewString();
  Text()->readNodeBytes(*other);
  EXPECT_EQ(other->Hex(), "0AFF");
  const auto foreign = MakeNaiveByteString();
  Text()->readNodeBytes(*foreign);
  EXPECT_EQ(foreign->Hex(), "0AFF");
}

TEST_P(DomBytes, AreAssignedAndSoKeepAddressesAndBounds) {
  const auto string = StringOf(GetParam(), "010203");
  string->SetStartAddress(500);
  Text()->readNodeBytes(*string->Mid(501, 1));
  EXPECT_EQ(string->Hex(), "010A03");
  Text()->readNodeBytes(*string);
  EXPECT_EQ(string->Hex(), "0AFF");
  EXPECT_EQ(string->StartAddress(), 500);
  string->SetHex("");
  string->SetStartAddress(0x7FFFFFFF);
  EXPECT_ERROR(Text()->readNodeBytes(*string), 6, "Overflow");
}

TEST_P(DomBytes, AreIndependentOfTheStringTheyCameFromAndOfThatTheyWereReadInto) {
  const std::string text(20000, 'A');
  const auto string = StringOf(GetParam(), text);
  Text()->setNodeBytes(*string);
  string->SetItem(1, 0);
  EXPECT_EQ(Text()->nodeValue(), text);
  Text()->readNodeBytes(*string);
  string->SetItem(1, 0);
  EXPECT_EQ(Text()->nodeValue(), text);
}

TEST_P(DomBytes, OfAViewAreThoseThatItSees) {
  Text()->setNodeBytes(*StringOf(GetParam(), "010203")->Mid(2, 1));
  EXPECT_EQ(document_->xml(), "<image><segment>02</segment></image>");
}

TEST_P(DomBytes, AreTextForWhoeverLooks) {
  Add("01");
  EXPECT_EQ(Text()->nodeValue(), "0AFF");
  EXPECT_EQ(Text()->text(), "0AFF");
  EXPECT_EQ(Text()->xml(), "0AFF");
  EXPECT_EQ(root_->text(), "0AFF01");
  EXPECT_EQ(root_->firstChild()->xml(), "<segment>0AFF</segment>");
  EXPECT_EQ(document_->xml(), "<image><segment>0AFF</segment><segment>01</segment></image>");
  std::string read;
  document_->readChildTexts("image", "segment", [&](const ChildText& child) { read = child.text; });
  EXPECT_EQ(read, "0AFF");
}

TEST_P(DomBytes, AreTextInPaths) {
  const auto second = Add("01");
  EXPECT_EQ(document_->selectSingleNode("//segment[. = '01']")->xml(), "<segment>01</segment>");
  EXPECT_EQ(root_->selectSingleNode("segment[. = '02']"), nullptr);
  const auto texts = root_->selectNodes("segment/text()");
  ASSERT_EQ(texts->length(), 2U);
  // A node of the document itself, not of a copy.
  texts->item(1)->setNodeValue("changed");
  EXPECT_EQ(second->nodeValue(), "changed");
  document_->selectSingleNode("//segment[. = '0AFF']")->appendChild(document_->createElement("e"));
  EXPECT_EQ(document_->xml(),
            "<image><segment>0AFF<e/></segment><segment>changed</segment></image>");
  EXPECT_EQ(root_->selectNodes("segment")->length(), 2U);
}

TEST_P(DomBytes, AreTextInCopies) {
  const std::string xml = document_->xml();
  const auto copy = std::static_pointer_cast<DOMDocument>(document_->cloneNode(true));
  EXPECT_EQ(Text()->cloneNode(false)->nodeValue(), "0AFF");
  EXPECT_EQ(root_->cloneNode(true)->xml(), xml);
  const auto saved = NewDocument();
  document_->save(*saved);
  Text()->setNodeValue("changed");
  EXPECT_EQ(copy->xml(), xml);
  EXPECT_EQ(saved->xml(), xml);
  EXPECT_EQ(HexOf(*copy->selectSingleNode("image/segment")->firstChild()), "0AFF");
}

TEST_P(DomBytes, GiveWayToAnotherValue) {
  const auto text = Text();
  text->setNodeValue("changed");
  EXPECT_EQ(document_->xml(), "<image><segment>changed</segment></image>");
  EXPECT_ERROR(HexOf(*text), 13, "Type mismatch");
  text->setNodeBytes(*StringOf(GetParam(), "01"));
  EXPECT_EQ(text->nodeValue(), "01");
  text->setText("changed again");
  EXPECT_EQ(text->nodeValue(), "changed again");
  text->setNodeBytes(*StringOf(GetParam(), "01"));
  text->setNodeBytes(*StringOf(GetParam(), ""));
  EXPECT_EQ(document_->xml(), "<image><segment></segment></image>");
  EXPECT_EQ(HexOf(*text), "");
}

TEST_P(DomBytes, StayWithANodeThatItsParentGivesUp) {
  const auto text = Text();
  root_->firstChild()->setText("other");
  EXPECT_EQ(text->nodeValue(), "0AFF");
  document_->loadXML("<a/>");
  EXPECT_EQ(text->nodeValue(), "0AFF");
}

TEST_P(DomBytes, AreTextInOtherLeavesToo) {
  const auto bytes = StringOf(GetParam(), "0AFF");
  for (const char* leaf : {"<a><!--c--></a>", "<a><![CDATA[c]]></a>", "<a><?c c?></a>"}) {
    const auto document = Loaded(leaf);
    document->documentElement()->firstChild()->setNodeBytes(*bytes);
    EXPECT_EQ(document->documentElement()->firstChild()->nodeValue(), "0AFF") << leaf;
  }
  EXPECT_ERROR(root_->setNodeBytes(*bytes), 13, "The node has no value");
}

TEST_P(DomBytes, AreNoTextThatMayStandOutsideOfTheRootElement) {
  constexpr const char* kOutside = "Text stands outside of the root element";
  const auto bytes = StringOf(GetParam(), "0AFF");
  const auto text = document_->createTextNode({});
  text->setNodeBytes(*bytes);
  EXPECT_ERROR(document_->appendChild(text), 13, kOutside);
  const auto fragment = document_->createDocumentFragment();
  fragment->appendChild(text);
  EXPECT_ERROR(document_->appendChild(fragment), 13, kOutside);
  const auto blank = document_->appendChild(document_->createTextNode("\n"));
  EXPECT_ERROR(blank->setNodeBytes(*bytes), 13, kOutside);
  EXPECT_EQ(document_->xml(), "<image><segment>0AFF</segment></image>\n");
}

TEST_P(DomBytes, SeveralThreadsLookAtThem) {
  const std::string text(20000, 'A');
  Text()->setNodeBytes(*StringOf(GetParam(), text));
  const auto node = Text();
  std::vector<std::string> results(4);
  std::vector<std::thread> readers;
  for (std::string& result : results) {
    readers.emplace_back([&] {
      const auto own = GetParam()();
      for (int round = 0; round < 5; ++round) {
        node->readNodeBytes(*own);
        own->SetItem(1, 0);
        result = node->nodeValue() + document_->text() + document_->cloneNode(true)->text() +
                 document_->selectNodes("//text()")->item(0)->xml();
        EXPECT_EQ(document_->xml(), "<image><segment>" + text + "</segment></image>");
      }
    });
  }
  for (std::thread& reader : readers) {
    reader.join();
  }
  EXPECT_THAT(results, ::testing::Each(text + text + text + text));
}

INSTANTIATE_TEST_SUITE_P(Types, DomBytes, ::testing::Values(NewString, MakeNaiveByteString),
                         [](const auto& test) {
                           return std::string(test.index == 0 ? "Kept" : "Inherited");
                         });

TEST(DomBytes, AreReadFromHexText) {
  const auto string = NewString();
  Loaded("<a>0aFF</a>")->documentElement()->firstChild()->readNodeBytes(*string);
  EXPECT_EQ(string->Hex(), "0AFF");
  EXPECT_ERROR(Loaded("<a>0G</a>")->documentElement()->firstChild()->readNodeBytes(*string), 13,
               "Type mismatch");
  EXPECT_EQ(string->Hex(), "0AFF");
}

}  // namespace
}  // namespace quillmark::testing
