// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "support/expect_error.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

TEST(DomLoading, GivesTheSameTextBack) {
  for (const char* xml :
       {"<?xml version='1.0'?><k/>", "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<k/>\n",
        "<a> <b>\n</b>\t</a>", kEverything, "<a:b xmlns:a=\"u\" c=\"d\"/>", "<?p?><a/><!---->"}) {
    EXPECT_EQ(Loaded(xml)->xml(), xml);
  }
}

TEST(DomLoading, ReplacesTheContent) {
  const auto document = Loaded("<a/>");
  const auto old = document->documentElement();
  document->loadXML("<b/>");
  EXPECT_EQ(document->xml(), "<b/>");
  EXPECT_EQ(old->xml(), "<a/>");
  EXPECT_EQ(old->parentNode(), nullptr);
}

// D30.
TEST(DomLoading, MakesEveryLineEndALineFeed) {
  const auto document = Loaded("<a>1\r\n2\r3\n4\r\r\n</a>");
  EXPECT_EQ(document->text(), "1\n2\n3\n4\n\n");
  EXPECT_EQ(Loaded("<a><![CDATA[\r\n\r]]></a>")->text(), "\n\n");
  EXPECT_EQ(Loaded("<a><!--\r\n--></a>")->xml(), "<a><!--\n--></a>");
  EXPECT_EQ(Loaded("<a><?p 1\r2?></a>")->xml(), "<a><?p 1\n2?></a>");
}

TEST(DomLoading, KeepsLineEndsThatAreReferences) {
  EXPECT_EQ(Loaded("<a>&#13;&#10;&#xD;</a>")->text(), "\r\n\r");
}

TEST(DomLoading, ResolvesReferences) {
  EXPECT_EQ(Loaded("<a>&lt;&gt;&amp;&quot;&apos;&#65;&#x42;&#xe9;&#x20AC;&#x1F600;</a>")->text(),
            "<>&\"'AB\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(DomLoading, LeavesReferencesInCommentsCDataAndInstructionsAlone) {
  constexpr const char* kXml = "<a><!--&x;<--><![CDATA[&x;<]]><?p &x;<?></a>";
  EXPECT_EQ(Loaded(kXml)->xml(), kXml);
}

TEST(DomLoading, ResolvesAReferenceOnce) {
  const auto root = Loaded("<a b='&amp;lt;'>&amp;lt;</a>")->documentElement();
  EXPECT_EQ(root->text(), "&lt;");
  EXPECT_EQ(root->getAttribute("b"), "&lt;");
}

TEST(DomLoading, NormalisesBlanksInAttributes) {
  const auto root = Loaded("<a b='1\t2\r\n3\n4&#9;&#10;&lt;' c=\"'\"/>")->documentElement();
  EXPECT_EQ(root->getAttribute("b"), "1 2 3 4\t\n<");
  EXPECT_EQ(root->getAttribute("c"), "'");
}

TEST(DomLoading, SkipsAByteOrderMark) {
  EXPECT_EQ(Loaded("\xEF\xBB\xBF<?xml version='1.0'?><k/>")->xml(), "<?xml version='1.0'?><k/>");
}

TEST(DomLoading, KeepsTheDeclarationAsAnInstruction) {
  const auto first = Loaded("<?xml version='1.0'?><k/>")->firstChild();
  EXPECT_EQ(first->nodeType(), NodeType::kProcessingInstruction);
  EXPECT_EQ(first->nodeName(), "xml");
  EXPECT_EQ(first->nodeValue(), "version='1.0'");
}

struct Malformed {
  std::string xml;
  const char* reason;
};

void PrintTo(const Malformed& malformed, std::ostream* out) { *out << malformed.xml; }

class DomLoadingOfMalformedText : public ::testing::TestWithParam<Malformed> {};

TEST_P(DomLoadingOfMalformedText, Raises13WithReasonAndOffsetAndEmptiesTheDocument) {
  const auto document = Loaded("<old/>");
  EXPECT_ERROR(document->loadXML(GetParam().xml), 13, GetParam().reason);
  EXPECT_EQ(document->xml(), "");
  EXPECT_EQ(document->documentElement(), nullptr);
  document->loadXML("<new/>");
  EXPECT_EQ(document->xml(), "<new/>");
}

INSTANTIATE_TEST_SUITE_P(
    Structure, DomLoadingOfMalformedText,
    ::testing::Values(
        Malformed{"", "The document has no element (offset 0)"},
        Malformed{" \n", "The document has no element (offset 2)"},
        Malformed{"<!--c-->", "The document has no element (offset 8)"},
        Malformed{"<?xml version='1.0'?>", "The document has no element (offset 21)"},
        Malformed{"<a/><b/>", "A second root element (offset 5)"},
        Malformed{"x<a/>", "Text stands outside of the root element (offset 0)"},
        Malformed{"<a/> x", "Text stands outside of the root element (offset 5)"},
        Malformed{"<a/>&lt;", "Text stands outside of the root element (offset 4)"},
        Malformed{"<![CDATA[ ]]><a/>", "Text stands outside of the root element (offset 9)"},
        Malformed{"<![CDATA[]]><a/>", "Text stands outside of the root element (offset 9)"},
        Malformed{"\xEF\xBB\xBF<a/>x", "Text stands outside of the root element (offset 7)"},
        Malformed{"<a><b></a>", "Start-end tags mismatch (offset 8)"},
        Malformed{"<a/></a>", "Start-end tags mismatch (offset 6)"},
        Malformed{"<a><b>", "Start-end tags mismatch (offset 5)"}));

INSTANTIATE_TEST_SUITE_P(
    Declarations, DomLoadingOfMalformedText,
    ::testing::Values(
        Malformed{"<!DOCTYPE a><a/>", "Document type declarations are not accepted (offset 10)"},
        Malformed{"<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>",
                  "Document type declarations are not accepted (offset 10)"},
        Malformed{"<a><!DOCTYPE a></a>", "Error parsing document type declaration (offset 3)"},
        Malformed{"<a/><?xml version='1.0'?>",
                  "An XML declaration stands behind the beginning (offset 6)"},
        Malformed{" <?xml version='1.0'?><a/>",
                  "An XML declaration stands behind the beginning (offset 3)"},
        Malformed{"<?XML version='1.0'?><a/>",
                  "An XML declaration stands behind the beginning (offset 2)"},
        Malformed{"<a><?xml version='1.0'?></a>",
                  "Error parsing document declaration/processing instruction (offset 8)"},
        Malformed{"<?xml",
                  "Error parsing document declaration/processing instruction (offset 4)"}));

INSTANTIATE_TEST_SUITE_P(
    Markup, DomLoadingOfMalformedText,
    ::testing::Values(
        Malformed{"<", "Could not determine tag type (offset 0)"},
        Malformed{"< a/>", "Could not determine tag type (offset 1)"},
        Malformed{"<1/>", "Could not determine tag type (offset 1)"},
        Malformed{"<a", "Error parsing start element tag (offset 1)"},
        Malformed{"<a b='1'c='2'/>", "Error parsing element attribute (offset 8)"},
        Malformed{"<a b/>", "Error parsing element attribute (offset 5)"},
        Malformed{"<a b=1/>", "Error parsing element attribute (offset 5)"},
        Malformed{"<a b='1/>", "Error parsing element attribute (offset 6)"},
        Malformed{"<a b='<'/>", "\"<\" stands in an attribute's value (offset 1)"},
        Malformed{"<a b='1' b='2'/>", "The attribute \"b\" is given twice (offset 1)"},
        Malformed{"<a><c d='1' e='2' d='1'/></a>", "The attribute \"d\" is given twice (offset 4)"},
        Malformed{"<a></a", "Error parsing end element tag (offset 5)"},
        Malformed{"<a></>", "Start-end tags mismatch (offset 5)"},
        Malformed{"<a><!--c</a>", "Error parsing comment (offset 11)"},
        Malformed{"<a><!--c--d--></a>", "A comment holds \"--\" or ends with \"-\" (offset 7)"},
        Malformed{"<a/><!--c--->", "A comment holds \"--\" or ends with \"-\" (offset 8)"},
        Malformed{"<a><![CDATA[c</a>", "Error parsing CDATA section (offset 16)"},
        Malformed{"<a><?p c</a>",
                  "Error parsing document declaration/processing instruction (offset 11)"},
        Malformed{"<a><?p+c?></a>",
                  "Error parsing document declaration/processing instruction (offset 7)"}));

INSTANTIATE_TEST_SUITE_P(
    Characters, DomLoadingOfMalformedText,
    ::testing::Values(
        Malformed{"<a>&</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&nbsp;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&lt;\r\n&gt;&amp</a>", "\"&\" begins no known reference (offset 13)"},
        Malformed{"<a b='&x;'/>", "\"&\" begins no known reference (offset 1)"},
        Malformed{"<a>&#;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&#-1;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&#X41;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&#0;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&#x110000;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&#xD800;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&#99999999999;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>]]></a>", "\"]]>\" stands in text (offset 3)"},
        Malformed{std::string("<a>\0</a>", 8),
                  "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\x01</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xFF</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\x80</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xC3<</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xC0\x80</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xED\xA0\x80</a>",
                  "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xEF\xBF\xBF</a>",
                  "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a/>\xE2\x82", "Neither UTF-8 nor a character that XML allows (offset 4)"}));

/// `count` elements that need no check.
std::string PlainElements(std::size_t count) {
  std::string xml;
  for (std::size_t index = 0; index < count; ++index) {
    xml += "<s><d>0210C0</d></s>\r\n";
  }
  return xml;
}

TEST(DomLoading, FindsADefectWhereverItStands) {
  for (const char* defect : {"<a b='1' b='2'/>", "<a b='<'/>", "<a b='&x;'/>", "&x;", "]]>",
                             "<!--a--b-->", "\x01", "<?xml a?>", "<!DOCTYPE a>"}) {
    for (const std::size_t before : {0U, 1U, 20U, 400U}) {
      for (const std::size_t after : {0U, 1U, 20U, 400U}) {
        const std::string xml =
            "<k>" + PlainElements(before) + defect + PlainElements(after) + "</k>";
        EXPECT_EQ(RaisedBy([&] { Loaded(xml); }).value_or(Raised{}).number, 13)
            << defect << " behind " << before << ", before " << after;
      }
    }
  }
}

TEST(DomLoading, FinishesANodeWhereverItStands) {
  for (const std::size_t before : {0U, 1U, 20U, 400U}) {
    for (const std::size_t after : {0U, 1U, 20U, 400U}) {
      const auto root = Loaded("<k>" + PlainElements(before) + "<?p \r\n?><u>\xC3\xA4&lt;\r</u>" +
                               PlainElements(after) + "</k>")
                            ->documentElement();
      EXPECT_EQ(root->selectSingleNode("u")->text(), "\xC3\xA4<\n");
      EXPECT_NE(root->xml().find("<?p ?><u>"), std::string::npos) << before << " " << after;
      EXPECT_EQ(root->xml().find('\r'), std::string::npos);
    }
  }
}

TEST(DomLoading, NeverIsAsynchronous) {
  const auto document = NewDocument();
  EXPECT_TRUE(document->async());
  document->setAsync(false);
  EXPECT_FALSE(document->async());
  document->setAsync(true);
  document->loadXML("<a/>");
  EXPECT_EQ(document->xml(), "<a/>");
}

}  // namespace
}  // namespace quillmark::testing
