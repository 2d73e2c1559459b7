// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "support/expect_error.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

TEST(DomBuilding, SerialisesExactlyWhatWasBuilt) {
  const auto document = NewDocument();
  document->appendChild(document->createProcessingInstruction("xml", "version='1.0'"));
  const auto can = document->appendChild(document->createNode(NodeType::kElement, "can", ""));
  can->appendChild(document->createTextNode("\r\n"));
  const auto x = document->createElement("x");
  x->setAttribute("i", "1850");
  can->appendChild(x);
  x->appendChild(document->createTextNode("\r\n"));
  const auto i = x->appendChild(document->createElement("i"));
  i->setText("1586");
  x->appendChild(document->createTextNode("\r\n"));
  EXPECT_EQ(document->xml(),
            "<?xml version='1.0'?><can>\r\n<x i=\"1850\">\r\n<i>1586</i>\r\n</x></can>");
}

TEST(DomBuilding, AnEmptyTextNodeKeepsTheEndTag) {
  const auto document = NewDocument();
  const auto c = document->createElement("c");
  EXPECT_EQ(c->xml(), "<c/>");
  c->appendChild(document->createTextNode(""));
  EXPECT_EQ(c->xml(), "<c></c>");
}

TEST(DomBuilding, EscapesTextAndAttributesAsXmlDemands) {
  const auto document = NewDocument();
  const auto e = document->createElement("e");
  e->setText("a<b>&\"'\tc");
  e->setAttribute("q", "a<b>&\"'");
  const auto copy = Loaded(e->xml());
  EXPECT_THAT(e->xml(), ::testing::HasSubstr(">a&lt;b&gt;&amp;\"'\tc</e>"));
  EXPECT_THAT(e->xml(), ::testing::HasSubstr("q=\"a&lt;b>&amp;&quot;'\""));
  EXPECT_EQ(copy->documentElement()->getAttribute("q"), "a<b>&\"'");
}

TEST(DomBuilding, AttributesKeepLineEndsThroughAReload) {
  const auto document = NewDocument();
  const auto e = document->createElement("e");
  e->setAttribute("q", "\r\n\t");
  EXPECT_EQ(Loaded(e->xml())->documentElement()->getAttribute("q"), "\r\n\t");
}

TEST(DomBuilding, ANewDocumentIsEmpty) {
  const auto document = NewDocument();
  EXPECT_EQ(document->xml(), "");
  EXPECT_EQ(document->documentElement(), nullptr);
  EXPECT_EQ(document->firstChild(), nullptr);
  EXPECT_EQ(document->parentNode(), nullptr);
  EXPECT_EQ(document->nextSibling(), nullptr);
  EXPECT_EQ(document->ownerDocument(), nullptr);
  EXPECT_EQ(document->nodeType(), NodeType::kDocument);
  EXPECT_EQ(document->nodeName(), "#document");
}

TEST(DomBuilding, ACreatedNodeHasAnOwnerButNoParentNorSibling) {
  const auto document = NewDocument();
  const auto first = document->createElement("a");
  const auto second = document->createElement("b");
  EXPECT_EQ(first->parentNode(), nullptr);
  EXPECT_EQ(first->nextSibling(), nullptr);
  EXPECT_EQ(document->xml(), "");
  document->appendChild(second);
  EXPECT_EQ(first->ownerDocument()->xml(), "<b/>");
}

TEST(DomBuilding, NodesKnowTheirTypeAndName) {
  const auto document = NewDocument();
  const auto expect = [](const IXMLDOMNode& node, NodeType type, const char* name) {
    EXPECT_EQ(node.nodeType(), type) << name;
    EXPECT_EQ(node.nodeName(), name);
  };
  expect(*document->createElement("a:b"), NodeType::kElement, "a:b");
  expect(*document->createTextNode("t"), NodeType::kText, "#text");
  expect(*document->createNode(NodeType::kCDataSection, "", ""), NodeType::kCDataSection,
         "#cdata-section");
  expect(*document->createNode(NodeType::kComment, "", ""), NodeType::kComment, "#comment");
  expect(*document->createProcessingInstruction("p", "d"), NodeType::kProcessingInstruction, "p");
  expect(*document->createDocumentFragment(), NodeType::kDocumentFragment, "#document-fragment");
}

TEST(DomBuilding, NodesOfOtherTypesAreNotCreated) {
  const auto document = NewDocument();
  for (const NodeType type : {NodeType::kAttribute, NodeType::kDocument, NodeType::kDocumentType}) {
    EXPECT_ERROR(document->createNode(type, "a", ""), 13, "Nodes of this type cannot be created");
  }
}

TEST(DomBuilding, ANamespaceIsDeclaredOnTheElement) {
  const auto document = NewDocument();
  EXPECT_EQ(document->createNode(NodeType::kElement, "a", "urn:x")->xml(), "<a xmlns=\"urn:x\"/>");
  EXPECT_EQ(document->createNode(NodeType::kElement, "p:a", "urn:x")->xml(),
            "<p:a xmlns:p=\"urn:x\"/>");
}

TEST(DomBuilding, NamesAreXmlNames) {
  const auto document = NewDocument();
  EXPECT_ERROR(document->createElement(""), 13, "\"\" is not an XML name");
  EXPECT_ERROR(document->createElement("a b"), 13, "\"a b\" is not an XML name");
  EXPECT_ERROR(document->createElement("1a"), 13, "\"1a\" is not an XML name");
  EXPECT_ERROR(document->createElement("#document"), 13, "\"#document\" is not an XML name");
  EXPECT_ERROR(document->createProcessingInstruction("p?", ""), 13, "\"p?\" is not an XML name");
  EXPECT_ERROR(document->createElement("a")->setAttribute("=", ""), 13, "\"=\" is not an XML name");
  EXPECT_EQ(document->createElement("\xC3\xA9-1._")->xml(), "<\xC3\xA9-1._/>");
}

TEST(DomBuilding, TheCharacterZeroIsRefusedAndChangesNothing) {
  constexpr const char* kRefusal = "XML text cannot hold the character U+0000";
  constexpr std::string_view kZero("a\0b", 3);
  const auto document = NewDocument();
  const auto text = document->createTextNode("old");
  const auto element = document->createElement("e");
  element->setAttribute("a", "old");
  element->setText("old");
  EXPECT_ERROR(document->createTextNode(kZero), 13, kRefusal);
  EXPECT_ERROR(text->setNodeValue(kZero), 13, kRefusal);
  EXPECT_ERROR(element->setAttribute("a", kZero), 13, kRefusal);
  EXPECT_ERROR(element->setText(kZero), 13, kRefusal);
  EXPECT_ERROR(element->selectSingleNode(kZero), 13, kRefusal);
  EXPECT_EQ(text->nodeValue(), "old");
  EXPECT_EQ(element->xml(), "<e a=\"old\">old</e>");
}

TEST(DomBuilding, CommentsAndInstructionsCannotEndEarly) {
  const auto document = NewDocument();
  const auto comment = document->createNode(NodeType::kComment, "", "");
  comment->setNodeValue("a-b");
  EXPECT_EQ(comment->xml(), "<!--a-b-->");
  EXPECT_ERROR(comment->setNodeValue("a--b"), 13,
               "A comment cannot hold \"--\" nor end with \"-\"");
  EXPECT_ERROR(comment->setNodeValue("a-"), 13, "A comment cannot hold \"--\" nor end with \"-\"");
  EXPECT_ERROR(document->createProcessingInstruction("p", "a?>b"), 13,
               "A processing instruction cannot hold \"?>\"");
}

TEST(DomBuilding, ACDataSectionIsSplitAroundItsEndMark) {
  const auto document = NewDocument();
  const auto root = document->appendChild(document->createElement("a"));
  const auto section = document->createNode(NodeType::kCDataSection, "", "");
  section->setNodeValue("x]]>y");
  root->appendChild(section);
  EXPECT_EQ(Loaded(document->xml())->text(), "x]]>y");
}

TEST(DomBuilding, LeavesHaveAValueAndOthersHaveNone) {
  const auto document = Loaded("<a>t</a>");
  const auto root = document->documentElement();
  EXPECT_EQ(root->firstChild()->nodeValue(), "t");
  EXPECT_EQ(root->nodeValue(), "");
  EXPECT_ERROR(root->setNodeValue("x"), 13, "The node has no value");
  EXPECT_ERROR(document->setNodeValue("x"), 13, "The node has no value");
  EXPECT_EQ(document->xml(), "<a>t</a>");
}

TEST(DomBuilding, TextJoinsTextAndCDataInDocumentOrder) {
  const auto document = Loaded("<a> 1<b>2<![CDATA[3]]></b><!--no--><?p no?>4 </a>");
  EXPECT_EQ(document->text(), " 1234 ");
  EXPECT_EQ(document->selectSingleNode("/a/b")->text(), "23");
  EXPECT_EQ(document->selectSingleNode("/a/comment()")->text(), "no");
}

TEST(DomBuilding, SettingTextReplacesTheChildrenWhichStayUsable) {
  const auto document = Loaded("<a><b>1</b>2</a>");
  const auto b = document->selectSingleNode("/a/b");
  document->documentElement()->setText("new");
  EXPECT_EQ(document->xml(), "<a>new</a>");
  EXPECT_EQ(b->parentNode(), nullptr);
  EXPECT_EQ(b->xml(), "<b>1</b>");
  document->documentElement()->setText("");
  EXPECT_EQ(document->xml(), "<a></a>");
}

TEST(DomBuilding, ADocumentHoldsNoText) {
  const auto document = Loaded("<a/>");
  constexpr const char* kRefusal = "Text stands outside of the root element";
  EXPECT_ERROR(document->setText("x"), 13, kRefusal);
  EXPECT_ERROR(document->appendChild(document->createTextNode("x")), 13, kRefusal);
  const auto section = document->createNode(NodeType::kCDataSection, "", "");
  EXPECT_ERROR(document->appendChild(section), 13, kRefusal);
  const auto blank = document->appendChild(document->createTextNode("\r\n"));
  EXPECT_ERROR(blank->setNodeValue("x"), 13, kRefusal);
  EXPECT_EQ(document->xml(), "<a/>\r\n");
}

TEST(DomBuilding, ADocumentHoldsOneElement) {
  const auto document = Loaded("<a/>");
  constexpr const char* kRefusal = "A document has one root element";
  EXPECT_ERROR(document->appendChild(document->createElement("b")), 13, kRefusal);
  document->appendChild(document->documentElement());

  const auto empty = NewDocument();
  const auto fragment = empty->createDocumentFragment();
  fragment->appendChild(empty->createElement("a"));
  fragment->appendChild(empty->createElement("b"));
  EXPECT_ERROR(empty->appendChild(fragment), 13, kRefusal);
  EXPECT_EQ(document->xml(), "<a/>");
  EXPECT_EQ(empty->xml(), "");
  EXPECT_EQ(fragment->xml(), "<a/><b/>");
}

TEST(DomBuilding, AppendingMovesANode) {
  const auto document = Loaded("<a><b/><c/></a>");
  const auto b = document->selectSingleNode("/a/b");
  const auto c = document->selectSingleNode("/a/c");
  EXPECT_EQ(c->appendChild(b), b);
  EXPECT_EQ(document->xml(), "<a><c><b/></c></a>");
  EXPECT_EQ(b->parentNode()->nodeName(), "c");
}

TEST(DomBuilding, AppendingAFragmentMovesItsChildren) {
  const auto document = Loaded("<a/>");
  const auto fragment = document->createDocumentFragment();
  fragment->appendChild(document->createElement("b"));
  fragment->appendChild(document->createTextNode("t"));
  EXPECT_EQ(fragment->firstChild()->parentNode()->nodeType(), NodeType::kDocumentFragment);
  document->documentElement()->appendChild(fragment);
  EXPECT_EQ(document->xml(), "<a><b/>t</a>");
  EXPECT_EQ(fragment->firstChild(), nullptr);
}

TEST(DomBuilding, ADocumentTakesAFragmentThatFitsAndRefusesTextInOne) {
  const auto document = NewDocument();
  const auto fragment = document->createDocumentFragment();
  fragment->appendChild(document->createElement("a"));
  const auto text = fragment->appendChild(document->createTextNode("t"));
  EXPECT_ERROR(document->appendChild(fragment), 13, "Text stands outside of the root element");
  EXPECT_EQ(fragment->xml(), "<a/>t");

  document->createElement("elsewhere")->appendChild(text);
  document->appendChild(fragment);
  EXPECT_EQ(document->xml(), "<a/>");
}

TEST(DomBuilding, TextOfATextNodeIsReplaced) {
  const auto document = Loaded("<a>old</a>");
  document->documentElement()->firstChild()->setText("new");
  EXPECT_EQ(document->xml(), "<a>new</a>");
}

TEST(DomBuilding, WhatCannotBeAppendedIsRefused) {
  const auto document = Loaded("<a><b/>t</a>");
  const auto a = document->documentElement();
  const auto b = document->selectSingleNode("/a/b");
  EXPECT_ERROR(a->appendChild(nullptr), 91, "Object variable or With block variable not set");
  EXPECT_ERROR(b->appendChild(a), 13, "A node cannot stand below itself");
  EXPECT_ERROR(a->appendChild(a), 13, "A node cannot stand below itself");
  EXPECT_ERROR(a->appendChild(NewDocument()->createElement("x")), 13,
               "The node belongs to another document");
  EXPECT_ERROR(a->appendChild(document), 13, "A document cannot be a child");
  EXPECT_ERROR(b->nextSibling()->appendChild(document->createElement("x")), 13,
               "The node can have no children");
  EXPECT_EQ(document->xml(), "<a><b/>t</a>");
}

TEST(DomBuilding, AttributesAreSetAndRead) {
  const auto document = NewDocument();
  const auto x = document->createElement("x");
  EXPECT_EQ(x->getAttribute("i"), std::nullopt);
  x->setAttribute("i", "");
  EXPECT_EQ(x->getAttribute("i"), "");
  x->setAttribute("i", "13");
  x->setAttribute("totalbytes", "0");
  EXPECT_EQ(x->getAttribute("i"), "13");
  EXPECT_EQ(x->xml(), "<x i=\"13\" totalbytes=\"0\"/>");
}

TEST(DomBuilding, ANodeKeepsItsDocumentAlive) {
  auto document = Loaded("<a><b/></a>");
  const auto b = document->selectSingleNode("/a/b");
  document.reset();
  EXPECT_EQ(b->parentNode()->xml(), "<a><b/></a>");
  EXPECT_EQ(b->ownerDocument()->xml(), "<a><b/></a>");
}

TEST(DomBuilding, TextOf100MegabytesIsHeld) {
  const auto document = NewDocument();
  const std::string large(100'000'000, 'F');
  const auto root = document->appendChild(document->createElement("d"));
  const auto text = root->appendChild(document->createTextNode(large));
  EXPECT_TRUE(root->text() == large);
  text->setNodeValue(std::string_view(large).substr(1));
  EXPECT_EQ(text->nodeValue().size(), 99'999'999U);
  EXPECT_EQ(root->xml().size(), 100'000'006U);
}

}  // namespace
}  // namespace quillmark::testing
