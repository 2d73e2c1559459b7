// SPDX-License-Identifier: MIT
#include "platform/portable/xsl_pattern.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"

namespace quillmark::portable {
namespace {

std::string XPathOf(std::string_view pattern) { return TranslateXslPattern(pattern).xpath; }

TEST(XslPattern, RelativePathsStay) {
  for (const char* path : {"d", "segment", "a/b//c", ".", "*", "@i", "a|b", "text()", ""}) {
    EXPECT_EQ(XPathOf(path), path);
  }
}

TEST(XslPattern, PathsFromTheRootBeginAtTheDocument) {
  EXPECT_EQ(XPathOf("/k"), "$document/k");
  EXPECT_EQ(XPathOf("/can/x/r/d"), "$document/can/x/r/d");
  EXPECT_EQ(XPathOf("//e"), "$document//e");
  EXPECT_EQ(XPathOf("/"), "$document");
  EXPECT_EQ(XPathOf("/a | //b"), "$document/a | $document//b");
  EXPECT_EQ(XPathOf("a[/b and //c]"), "a[$document/b and $document//c]");
  EXPECT_EQ(XPathOf("count(/a)"), "count($document/a)");
  EXPECT_EQ(XPathOf("(/)"), "($document)");
}

TEST(XslPattern, OtherSlashesStay) {
  EXPECT_EQ(XPathOf("*/a"), "*/a");
  EXPECT_EQ(XPathOf("./a"), "./a");
  EXPECT_EQ(XPathOf("(a)/b"), "(a)/b");
  EXPECT_EQ(XPathOf("a[b]/c"), "a[b]/c");
  EXPECT_EQ(XPathOf("and/or"), "and/or");
  EXPECT_EQ(XPathOf("a [b] /c"), "a [b] /c");
}

// D29.
TEST(XslPattern, IndexesCountFromZero) {
  EXPECT_EQ(XPathOf("/k/r[0]"), "$document/k/r[1]");
  EXPECT_EQ(XPathOf("/can/x/r[12]"), "$document/can/x/r[13]");
  EXPECT_EQ(XPathOf("r[9]"), "r[10]");
  EXPECT_EQ(XPathOf("r[ 1 ]/d[0]"), "r[2 ]/d[1]");
  EXPECT_EQ(XPathOf("a[b[2]]"), "a[b[3]]");
  EXPECT_EQ(XPathOf("r[007]"), "r[8]");
  EXPECT_EQ(XPathOf("r[4294967295]"), "r[4294967296]");
}

TEST(XslPattern, OtherPredicatesStay) {
  for (const char* path : {"r[d]", "r[@i='1']", "r[@i=1]", "r[1 = 1]", "r[1.5]", "a1[b2]",
                           "r['[3]']", "r[@i=\"a[0]/b\"]", "r[c='//']"}) {
    EXPECT_EQ(XPathOf(path), path);
  }
}

TEST(XslPattern, OriginsLeadBackToThePattern) {
  const TranslatedPattern translated = TranslateXslPattern("/r[9]/d");
  EXPECT_EQ(translated.xpath, "$document/r[10]/d");
  EXPECT_EQ(translated.origins, (std::vector<std::size_t>{0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                                          0, 1, 2, 3, 3, 4, 5, 6, 7}));
}

TEST(XslPattern, WhatIsNoPatternIsRefused) {
  EXPECT_ERROR(XPathOf("a/.."), -2147467259,
               "Bad path \"a/..\" at 2: a pattern has no parent step");
  EXPECT_ERROR(XPathOf("following::a"), -2147467259,
               "Bad path \"following::a\" at 9: a pattern has no axes");
  EXPECT_ERROR(XPathOf("a[$document]"), -2147467259,
               "Bad path \"a[$document]\" at 2: a pattern has no variables");
  EXPECT_ERROR(XPathOf("a['b]"), -2147467259, "Bad path \"a['b]\" at 2: the literal has no end");
  EXPECT_ERROR(XPathOf("r[4294967296]"), -2147467259,
               "Bad path \"r[4294967296]\" at 2: the index is too large");
}

}  // namespace
}  // namespace quillmark::portable
