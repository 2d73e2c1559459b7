// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "support/expect_error.h"
#include "tests/src/platform/foreign_document.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

TEST(DomCloning, ADeepCopyHasEverythingAndNoParent) {
  const auto document = Loaded(kEverything);
  const auto copy = document->documentElement()->cloneNode(true);
  EXPECT_EQ(copy->xml(), document->documentElement()->xml());
  EXPECT_EQ(copy->parentNode(), nullptr);
  EXPECT_EQ(document->xml(), kEverything);
}

TEST(DomCloning, AShallowCopyHasTheAttributesAlone) {
  const auto document = Loaded(kEverything);
  EXPECT_EQ(document->documentElement()->cloneNode(false)->xml(), "<can i=\"1\"/>");
}

TEST(DomCloning, LeavesAndFragmentsAreCopied) {
  const auto document = Loaded("<a>t<!--c--></a>");
  const auto text = document->documentElement()->firstChild();
  EXPECT_EQ(text->cloneNode(false)->nodeValue(), "t");
  EXPECT_EQ(text->nextSibling()->cloneNode(true)->xml(), "<!--c-->");
  const auto fragment = StepFragment(*document);
  const auto copy = fragment->cloneNode(true);
  EXPECT_EQ(copy->nodeType(), NodeType::kDocumentFragment);
  EXPECT_EQ(copy->xml(), "<s><d></d></s>\r\n");
  EXPECT_EQ(fragment->cloneNode(false)->xml(), "");
}

TEST(DomCloning, ACopyIsIndependent) {
  const auto document = Loaded("<a><b/></a>");
  const auto copy = document->documentElement()->cloneNode(true);
  copy->setText("changed");
  EXPECT_EQ(document->xml(), "<a><b/></a>");
}

TEST(DomCloning, ADocumentsCopyIsANewDocumentOfTheSameKind) {
  const auto platform = MakePortablePlatform();
  const auto threaded = platform->CreateFreeThreadedDOMDocument();
  threaded->loadXML(kEverything);
  threaded->setAsync(false);
  const auto copy = std::dynamic_pointer_cast<FreeThreadedDOMDocument>(threaded->cloneNode(true));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->xml(), kEverything);
  EXPECT_FALSE(copy->async());
  copy->documentElement()->setText("");
  EXPECT_EQ(threaded->xml(), kEverything);
  EXPECT_EQ(threaded->cloneNode(false)->xml(), "");

  const auto plain = platform->CreateDOMDocument()->cloneNode(true);
  EXPECT_EQ(std::dynamic_pointer_cast<FreeThreadedDOMDocument>(plain), nullptr);
}

TEST(DomCloning, TheOwnerOfAFreeThreadedNodeIsFreeThreaded) {
  const auto document = MakePortablePlatform()->CreateFreeThreadedDOMDocument();
  const auto owner = document->createElement("a")->ownerDocument();
  EXPECT_NE(std::dynamic_pointer_cast<FreeThreadedDOMDocument>(owner), nullptr);
}

TEST(DomForeignNodes, AreNeitherTakenNorWritten) {
  constexpr const char* kRefusal = "The node is of another platform";
  const auto document = Loaded("<a/>");
  const auto foreign = std::make_shared<::testing::StrictMock<ForeignDocument>>();
  EXPECT_ERROR(document->documentElement()->appendChild(foreign), 13, kRefusal);
  EXPECT_ERROR(document->save(*foreign), 13, kRefusal);
  EXPECT_EQ(document->xml(), "<a/>");
}

TEST(DomSaving, ACopyReplacesTheTargetsContent) {
  const auto source = Loaded(kEverything);
  const auto target = Loaded("<old><b/></old>");
  const auto old = target->selectSingleNode("/old/b");
  source->save(*target);
  EXPECT_EQ(target->xml(), kEverything);
  EXPECT_EQ(source->xml(), kEverything);
  EXPECT_EQ(old->xml(), "<b/>");
}

TEST(DomSaving, EveryTextNodeIsKept) {
  const auto source = NewDocument();
  const auto a = source->appendChild(source->createElement("a"));
  a->appendChild(source->createTextNode("1"));
  a->appendChild(source->createTextNode("2"));
  a->appendChild(source->createTextNode(""));
  a->appendChild(source->createTextNode("\r\n"));
  const auto target = NewDocument();
  source->save(*target);
  EXPECT_EQ(target->selectNodes("/a/text()")->length(), 4U);
  EXPECT_EQ(target->text(), "12\r\n");
}

TEST(DomSaving, OntoItselfChangesNothing) {
  const auto document = Loaded("<a/>");
  document->save(*document);
  EXPECT_EQ(document->xml(), "<a/>");
}

TEST(DomSaving, DoesNotTakeCreatedNodesAlong) {
  const auto source = Loaded("<a/>");
  const auto loose = source->createElement("loose");
  const auto target = NewDocument();
  source->save(*target);
  EXPECT_EQ(target->xml(), "<a/>");
}

}  // namespace
}  // namespace quillmark::testing
