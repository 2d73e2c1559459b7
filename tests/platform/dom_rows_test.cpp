// SPDX-License-Identifier: MIT
// Rows of template copies: what comes of them must not differ from copies made one by one.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/portable/portable_platform_factory.h"
#include "support/expect_error.h"

namespace quillmark {
namespace {

constexpr std::string_view kFrame = "<f><s><d>0</d></s>\n</f>";
/// Longer than what is made of markup.
constexpr std::string_view kLong =
    "34800000007F00112233445566778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF";
constexpr std::string_view kLongWithMarkup =
    "34800000007F00112233445566778899AABBCCDDEEFF0011<&>33445566778899AABBCCDDEEFF";
constexpr std::string_view kWait = "<f><w>0</w>\n</f>";

class DomRows : public ::testing::Test {
 protected:
  std::shared_ptr<IXMLDOMNode> Template(std::string_view xml) {
    const auto document = platform_->CreateDOMDocument();
    document->loadXML(xml);
    return document->documentElement();
  }

  void ExpectSameAsOneByOne(const std::vector<TemplateCopy>& row) {
    const auto one_by_one = Template("<x>old</x>");
    for (const TemplateCopy& copy : row) {
      one_by_one->appendTemplate(*copy.fragment, copy.text);
    }
    x_->appendTemplates(row);
    ExpectSameTree(*x_, *one_by_one);
  }

  /// Texts that lie side by side would look the same in a serialised tree.
  static void ExpectSameTree(const IXMLDOMNode& a, const IXMLDOMNode& b) {
    EXPECT_EQ(a.nodeName(), b.nodeName());
    EXPECT_EQ(a.nodeValue(), b.nodeValue());
    EXPECT_EQ(a.xml(), b.xml());
    auto below_a = a.firstChild();
    auto below_b = b.firstChild();
    for (; below_a && below_b; below_a = below_a->nextSibling(), below_b = below_b->nextSibling()) {
      ExpectSameTree(*below_a, *below_b);
    }
    EXPECT_EQ(below_a == nullptr, below_b == nullptr);
  }

  std::shared_ptr<PortablePlatform> platform_ = MakePortablePlatform();
  std::shared_ptr<IXMLDOMNode> x_ = Template("<x>old</x>");
};

TEST_F(DomRows, AreTheCopiesInTurn) {
  const auto frame = Template(kFrame);
  const auto wait = Template(kWait);
  x_->appendTemplates(
      std::vector<TemplateCopy>{{frame.get(), "0210C0"}, {wait.get(), "5"}, {frame.get(), "A"}});
  EXPECT_EQ(x_->xml(), "<x>old<s><d>0210C0</d></s>\n<w>5</w>\n<s><d>A</d></s>\n</x>");
  EXPECT_EQ(frame->xml(), kFrame);
}

TEST_F(DomRows, MayBeEmpty) {
  x_->appendTemplates({});
  EXPECT_EQ(x_->xml(), "<x>old</x>");
}

TEST_F(DomRows, KeepTextsThatAParserWouldNot) {
  const auto frame = Template(kFrame);
  for (const std::string_view text :
       std::vector<std::string_view>{"", "-", " ", "\r\n", "<", "&", "&amp;", "<a/>", "]]>",
                                     "\xC3\xA4", kLong, kLongWithMarkup}) {
    ExpectSameAsOneByOne({{frame.get(), text}});
    x_ = Template("<x>old</x>");
    ExpectSameAsOneByOne({{frame.get(), ""}, {frame.get(), text}, {frame.get(), "1"}});
    x_ = Template("<x>old</x>");
  }
}

TEST_F(DomRows, KeepTemplatesThatAParserWouldNot) {
  for (const std::string_view xml :
       {"<f>0</f>", "<f>0<a/></f>", "<f><a n='1'>0</a></f>", "<f><a>0<!--c--></a></f>",
        "<f><a/>0</f>", "<f><a/><b>0</b></f>", "<f><a><b/>0</a></f>", "<f><a>0</a>&lt;</f>",
        "<f><a>0</a><![CDATA[1]]></f>", "<f><?p?><a>0</a></f>", "<f><a>0</a><b/>1<c>2</c></f>"}) {
    const auto other = Template(xml);
    ExpectSameAsOneByOne({{other.get(), "1"}, {other.get(), ""}, {other.get(), "2"}});
    x_ = Template("<x>old</x>");
  }
}

TEST_F(DomRows, KeepEmptyTextsAndTextsSideBySide) {
  const auto twice = Template("<f><a>0</a></f>");
  const auto document = twice->ownerDocument();
  twice->appendChild(document->createTextNode("1"));
  twice->appendChild(document->createTextNode("2"));
  const auto empty = Template("<f><a>0</a></f>");
  empty->appendChild(empty->ownerDocument()->createTextNode(""));
  ExpectSameAsOneByOne({{twice.get(), "3"}, {empty.get(), "4"}});
}

TEST_F(DomRows, KeepDeepTemplates) {
  std::string xml = "0";
  for (int level = 0; level < 40; ++level) {
    xml = "<a>" + xml + "</a>";
  }
  const auto deep = Template(xml);
  ExpectSameAsOneByOne({{deep.get(), "1"}, {deep.get(), "2"}});
}

TEST_F(DomRows, MayBeAppendedToAFragmentAndBeOfTheSameDocument) {
  const auto document = x_->ownerDocument();
  const auto fragment = document->createDocumentFragment();
  const auto a = document->createElement("a");
  a->appendChild(document->createTextNode("0"));
  const auto frame = Template(kFrame);
  fragment->appendTemplates(std::vector<TemplateCopy>{{frame.get(), "1"}, {a.get(), "2"}});
  EXPECT_EQ(fragment->xml(), "<s><d>1</d></s>\n2");
}

TEST_F(DomRows, AreAppendedAllOrNone) {
  const auto frame = Template(kFrame);
  const auto without_text = Template("<f><a/></f>");
  EXPECT_ERROR(
      x_->appendTemplates(std::vector<TemplateCopy>{{frame.get(), "1"}, {without_text.get(), "2"}}),
      13, "The template has no text node");
  EXPECT_ERROR(x_->appendTemplates(std::vector<TemplateCopy>{
                   {frame.get(), "1"}, {frame.get(), std::string_view("\0", 1)}}),
               13, "XML text cannot hold the character U+0000");
  std::string with_nul(kLong);
  with_nul[10] = '\0';
  EXPECT_ERROR(
      x_->appendTemplates(std::vector<TemplateCopy>{{frame.get(), "1"}, {frame.get(), with_nul}}),
      13, "XML text cannot hold the character U+0000");
  EXPECT_EQ(x_->xml(), "<x>old</x>");
}

}  // namespace
}  // namespace quillmark
