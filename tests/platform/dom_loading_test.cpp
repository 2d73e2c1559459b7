#include <gmock/gmock.h>

#include "platform/xml_samples.h"
#include "support/expect_error.h"

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
        Malformed{"<a/><b/>", "A second root element (offset 4)"},
        Malformed{"x<a/>", "Text stands outside of the root element (offset 0)"},
        Malformed{"<a/> x", "Text stands outside of the root element (offset 5)"},
        Malformed{"<a/>&lt;", "Text stands outside of the root element (offset 4)"},
        Malformed{"<![CDATA[ ]]><a/>", "Text stands outside of the root element (offset 9)"},
        Malformed{"<a><b></a>", "The end tag \"a\" closes no open element (offset 6)"},
        Malformed{"<a/></a>", "The end tag \"a\" closes no open element (offset 4)"},
        Malformed{"<a><b>", "The element \"b\" is not closed (offset 6)"},
        Malformed{"<!DOCTYPE a><a/>", "Document type declarations are not accepted (offset 0)"},
        Malformed{"<a/><?xml version='1.0'?>",
                  "An XML declaration stands behind the beginning (offset 6)"}));

INSTANTIATE_TEST_SUITE_P(
    Markup, DomLoadingOfMalformedText,
    ::testing::Values(
        Malformed{"<", "A name is missing (offset 1)"},
        Malformed{"< a/>", "A name is missing (offset 1)"},
        Malformed{"<1/>", "A name is missing (offset 1)"},
        Malformed{"<a", "The start tag \"a\" is not closed (offset 0)"},
        Malformed{"<a b='1'c='2'/>", "The start tag \"a\" is not closed (offset 0)"},
        Malformed{"<a b/>", "The attribute \"b\" has no quoted value (offset 3)"},
        Malformed{"<a b=1/>", "The attribute \"b\" has no quoted value (offset 3)"},
        Malformed{"<a b='1/>", "An attribute's value is not closed (offset 6)"},
        Malformed{"<a b='<'/>", "\"<\" stands in an attribute's value (offset 6)"},
        Malformed{"<a b='1' b='2'/>", "The attribute \"b\" is given twice (offset 9)"},
        Malformed{"<a></a", "An end tag is not closed (offset 3)"},
        Malformed{"<a></>", "A name is missing (offset 5)"},
        Malformed{"<a><!--c</a>", "A comment is not closed (offset 7)"},
        Malformed{"<a><!--c--d--></a>", "\"--\" stands in a comment (offset 8)"},
        Malformed{"<a><![CDATA[c</a>", "A CDATA section is not closed (offset 12)"},
        Malformed{"<a><?p c</a>", "A processing instruction is not closed (offset 7)"},
        Malformed{"<a><?p+c?></a>",
                  "A blank is missing behind a processing instruction's target (offset 6)"},
        Malformed{"<?xml", "A processing instruction is not closed (offset 5)"}));

INSTANTIATE_TEST_SUITE_P(
    Characters, DomLoadingOfMalformedText,
    ::testing::Values(
        Malformed{"<a>&</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a>&nbsp;</a>", "\"&\" begins no known reference (offset 3)"},
        Malformed{"<a b='&x;'/>", "\"&\" begins no known reference (offset 6)"},
        Malformed{"<a>&#;</a>", "A character reference names no character (offset 3)"},
        Malformed{"<a>&#0;</a>", "A character reference names no character (offset 3)"},
        Malformed{"<a>&#x110000;</a>", "A character reference names no character (offset 3)"},
        Malformed{"<a>&#xD800;</a>", "A character reference names no character (offset 3)"},
        Malformed{"<a>&#99999999999;</a>", "A character reference names no character (offset 3)"},
        Malformed{"<a>]]></a>", "\"]]>\" stands in text (offset 3)"},
        Malformed{std::string("<a>\0</a>", 8),
                  "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\x01</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xFF</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\x80</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xC0\x80</a>", "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xED\xA0\x80</a>",
                  "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a>\xEF\xBF\xBF</a>",
                  "Neither UTF-8 nor a character that XML allows (offset 3)"},
        Malformed{"<a/>\xE2\x82", "Neither UTF-8 nor a character that XML allows (offset 4)"}));

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
