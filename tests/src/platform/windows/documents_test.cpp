// SPDX-License-Identifier: MIT
// Documents on MSXML: differences between its implementations do not show.
#include <gmock/gmock.h>

#include "platform/windows/com_objects.h"
#include "platform/windows/msxml.h"
#include "support/expect_error.h"
#include "tested_platform.h"
#include "tests/src/platform/foreign_document.h"
#include "tests/src/platform/step_fragment.h"
#include "tests/src/platform/windows/script_object.h"

namespace quillmark::testing {
namespace {

class Documents : public ::testing::Test {
 protected:
  [[nodiscard]] std::shared_ptr<DOMDocument> Loaded(std::string_view xml) const {
    auto document = platform_->CreateDOMDocument();
    document->loadXML(xml);
    return document;
  }

  const std::shared_ptr<TestedPlatform> platform_ = TestPlatform();
};

constexpr const char* kEverything =
    "<?xml version=\"1.0\"?><!--c--><can i=\"1\">\n<x>a<![CDATA[<b>]]>c</x><?t data?><e/></can>";

TEST_F(Documents, ALoadedDocumentIsWrittenAsItWas) {
  EXPECT_EQ(Loaded(kEverything)->xml(), kEverything);
}

TEST_F(Documents, CharactersThatMarkUpAreEscaped) {
  const auto document = Loaded("<a/>");
  document->documentElement()->setAttribute("q", "<\"&'>");
  document->documentElement()->setText("<&>\"ü");
  EXPECT_EQ(document->xml(), "<a q=\"&lt;&quot;&amp;'&gt;\">&lt;&amp;&gt;\"ü</a>");
  EXPECT_EQ(document->documentElement()->getAttribute("q"), "<\"&'>");
  EXPECT_EQ(document->documentElement()->getAttribute("p"), std::nullopt);
}

TEST_F(Documents, WritingAnElementLeavesTheDeclaration) {
  const auto document = Loaded(kEverything);
  EXPECT_EQ(document->selectSingleNode("/can/x")->xml(), "<x>a<![CDATA[<b>]]>c</x>");
  EXPECT_EQ(document->xml(), kEverything);
}

TEST_F(Documents, WritingAddsNoWhiteSpace) {
  EXPECT_EQ(Loaded("<a><b><c/></b><b/></a>")->xml(), "<a><b><c/></b><b/></a>");
}

TEST_F(Documents, TextIsNotTrimmed) {
  const auto document = Loaded("<a> x <b>\n</b><![CDATA[ y ]]></a>");
  EXPECT_EQ(document->documentElement()->text(), " x \n y ");
  EXPECT_EQ(document->text(), " x \n y ");
  document->documentElement()->setText(" z ");
  EXPECT_EQ(document->documentElement()->text(), " z ");
  EXPECT_EQ(document->documentElement()->firstChild()->nextSibling(), nullptr);
}

TEST_F(Documents, BytesCrossAsTheirHexText) {
  const auto document = Loaded("<a>x</a>");
  const auto text = document->documentElement()->firstChild();
  const auto bytes = platform_->CreateByteString();
  bytes->SetHex("0AFF");
  text->setNodeBytes(*bytes);
  EXPECT_EQ(document->xml(), "<a>0AFF</a>");
  bytes->SetHex("");
  text->readNodeBytes(*bytes);
  EXPECT_EQ(bytes->Hex(), "0AFF");
  text->setNodeValue("0G");
  EXPECT_ERROR(text->readNodeBytes(*bytes), 13, "Type mismatch");
}

TEST_F(Documents, AnIndexCountsFromZero) {
  const auto document = Loaded("<can><x><r>a</r><r>b</r></x></can>");
  EXPECT_EQ(document->selectSingleNode("/can/x/r[0]")->text(), "a");
  EXPECT_EQ(document->selectSingleNode("/can/x/r[1]")->text(), "b");
  EXPECT_EQ(document->selectSingleNode("/can/x/r[2]"), nullptr);
  EXPECT_EQ(document->selectSingleNode("//e"), nullptr);
  const auto replies = document->selectNodes("/can/x/r");
  ASSERT_EQ(replies->length(), 2U);
  EXPECT_EQ(replies->item(1)->text(), "b");
  EXPECT_EQ(replies->item(2), nullptr);
}

TEST_F(Documents, TheChildrenOfAnAppendedFragmentLeaveIt) {
  const auto document = Loaded("<x/>");
  const auto fragment = StepFragment(*document);
  document->documentElement()->appendChild(fragment);
  EXPECT_EQ(document->documentElement()->firstChild()->nodeName(), "s");
  EXPECT_EQ(fragment->firstChild(), nullptr);
}

TEST_F(Documents, ARowIsAppendedLeafByLeaf) {
  const auto x = Loaded("<x/>")->documentElement();
  x->appendLeaves(std::vector<Leaf>{{"s", "d", "02"}, {"r", "c", ""}, {"w", "", "5"}});
  EXPECT_EQ(x->selectSingleNode("s/d")->text(), "02");
  EXPECT_NE(x->selectSingleNode("r/c")->firstChild(), nullptr);
  EXPECT_EQ(x->selectSingleNode("w")->text(), "5");
  EXPECT_EQ(x->selectNodes("*")->length(), 3U);
}

TEST_F(Documents, SavingCopiesEveryNode) {
  const auto source = Loaded(kEverything);
  const auto plain = Loaded("<old/>");
  source->save(*plain);
  EXPECT_EQ(plain->xml(), kEverything);
  const auto threaded = platform_->CreateFreeThreadedDOMDocument();
  source->save(*threaded);
  EXPECT_EQ(threaded->xml(), kEverything);
  source->save(*source);
  EXPECT_EQ(source->xml(), kEverything);
}

TEST_F(Documents, ACopyOfADocumentIsOfItsKind) {
  const auto threaded = platform_->CreateFreeThreadedDOMDocument();
  threaded->loadXML(kEverything);
  const auto copy = std::dynamic_pointer_cast<FreeThreadedDOMDocument>(threaded->cloneNode(true));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->xml(), kEverything);
  EXPECT_NE(
      std::dynamic_pointer_cast<FreeThreadedDOMDocument>(copy->documentElement()->ownerDocument()),
      nullptr);
  EXPECT_EQ(std::dynamic_pointer_cast<FreeThreadedDOMDocument>(Loaded("<a/>")->cloneNode(true)),
            nullptr);
  EXPECT_EQ(copy->ownerDocument(), nullptr);
}

TEST_F(Documents, DeepTreesAreWritten) {
  constexpr int kDepth = 200;
  std::string xml;
  for (int level = 0; level < kDepth; ++level) {
    xml += "<a>";
  }
  xml += "x";
  for (int level = 0; level < kDepth; ++level) {
    xml += "</a>";
  }
  EXPECT_EQ(Loaded(xml)->xml(), xml);
  EXPECT_EQ(Loaded(xml)->text(), "x");
}

TEST_F(Documents, TextThatIsNoDocumentIsRefusedAndLeavesNothing) {
  const auto document = Loaded("<a/>");
  const auto raised = RaisedBy([&] { document->loadXML("<a>"); });
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->number, 13);
  EXPECT_FALSE(raised->description.empty());
  EXPECT_EQ(document->documentElement(), nullptr);
}

TEST_F(Documents, AFailureOfMSXMLKeepsItsStatus) {
  const auto document = Loaded("<a/>");
  EXPECT_ERROR(document->createNode(NodeType::kDocument, "", ""), E_INVALIDARG,
               "Application-defined or object-defined error");
}

TEST_F(Documents, NodesOfAnotherPlatformAreRefused) {
  const auto document = Loaded("<a/>");
  const auto foreign = std::make_shared<::testing::NiceMock<ForeignDocument>>();
  constexpr const char* kForeign = "The node is of another platform";
  EXPECT_ERROR(document->appendChild(foreign), 13, kForeign);
  EXPECT_ERROR(document->save(*foreign), 13, kForeign);
  EXPECT_ERROR(document->appendChild(nullptr), 91,
               "Object variable or With block variable not set");
}

TEST_F(Documents, AHostsDocumentIsWrappedAndUnwrapped) {
  const auto object = windows::DispatchOf(Loaded("<a><b/></a>"));
  const auto document = windows::WrapDocument(object.As<IUnknown>());
  EXPECT_EQ(document->xml(), "<a><b/></a>");
  EXPECT_EQ(windows::DispatchOf(document).get(), object.get());
  EXPECT_EQ(windows::WrapDocument({}), nullptr);
  const auto node = windows::DispatchOf(document->documentElement());
  EXPECT_EQ(windows::WrapNode(node.As<IUnknown>())->nodeName(), "a");
  EXPECT_ERROR(windows::WrapDocument(node.As<IUnknown>()), 13, "Type mismatch");
  EXPECT_ERROR(windows::WrapNode(NewScriptObject({}).As<IDispatch>().As<IUnknown>()), 13,
               "Type mismatch");
}

TEST_F(Documents, ADocumentThatSelectsWithXPathIsRefused) {
  CLSID class_id;
  const auto object =
      windows::CreateObject(L"Msxml2.DOMDocument.6.0", __uuidof(windows::MsxmlDocument), class_id);
  EXPECT_ERROR(windows::WrapDocument(object), 13,
               "The document's SelectionLanguage is XPath; it must be XSLPattern");
}

}  // namespace
}  // namespace quillmark::testing
