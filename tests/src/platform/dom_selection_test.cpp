// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "support/expect_error.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

constexpr const char* kReplies =
    "<can><x i='1'><i>2</i><r n='0'><d>A</d></r><r n='1'/><r "
    "n='2'><d>C</d><e>bad</e></r></x></can>";

std::vector<std::string> TextsOf(const IXMLDOMNodeList& nodes) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < nodes.length(); ++i) {
    texts.push_back(nodes.item(i)->text());
  }
  return texts;
}

TEST(DomSelection, IndexesCountFromZero) {
  const auto document = Loaded(kReplies);
  EXPECT_EQ(document->selectSingleNode("/can/x/r[0]")->xml(), "<r n=\"0\"><d>A</d></r>");
  EXPECT_EQ(document->selectSingleNode("/can/x/r[1]")->xml(), "<r n=\"1\"/>");
  EXPECT_EQ(document->selectSingleNode("/can/x/r[3]"), nullptr);
}

/// Paths of names are followed without an expression, but only when one node is asked for.
TEST(DomSelection, PathsOfNamesSelectWhatTheirExpressionsDo) {
  const auto document = Loaded(
      "<can><?x 1?><x><?r 2?><i>3</i></x><a.b/><x><r>4</r><y><r>5</r></y><r>6</r></x>"
      "<x><r>7</r><r>8</r><r>9<d>10</d></r></x></can>");
  for (const char* path : {"can",
                           "x",
                           "/can",
                           "/can/x",
                           "/can/x/r",
                           "/can/x/r[0]",
                           "/can/x/r[1]",
                           "/can/x/r[2]",
                           "/can/x/r[3]",
                           "/can/x[0]/r",
                           "/can/x[1]/r[1]",
                           "/can/x[3]/r",
                           "/can[0]/x[2]/r[2]",
                           "/can/x/y/r",
                           "/can/x/r/d",
                           "/can/x[2]/r[2]/d",
                           "/x",
                           "/can/a.b",
                           "can/x[1]/r",
                           "/can/x/r[4294967296]",
                           "/can/x/r[ 1 ]",
                           "/can/x /r",
                           "/can/x/r[00]"}) {
    SCOPED_TRACE(path);
    const auto expected = RaisedBy([&] { static_cast<void>(document->selectNodes(path)); });
    std::shared_ptr<IXMLDOMNode> first;
    EXPECT_EQ(RaisedBy([&] { first = document->selectSingleNode(path); }), expected);
    const auto all = expected ? nullptr : document->selectNodes(path)->item(0);
    EXPECT_EQ(first ? first->xml() : "none", all ? all->xml() : "none");
  }
}

TEST(DomSelection, ABadPathOfNamesIsReported) {
  const auto document = Loaded(kReplies);
  for (const char* path : {"/can/", "/can/x/r[", "/can/x/r[]", "/can/x/r[1", "/can/x]", "x::r"}) {
    const auto raised = RaisedBy([&] { static_cast<void>(document->selectSingleNode(path)); });
    ASSERT_TRUE(raised.has_value()) << path;
    EXPECT_EQ(raised, RaisedBy([&] { static_cast<void>(document->selectNodes(path)); })) << path;
  }
}

TEST(DomSelection, FindsNodesInDocumentOrder) {
  const auto document = Loaded(kReplies);
  EXPECT_EQ(TextsOf(*document->selectNodes("/can/x/r/d")), (std::vector<std::string>{"A", "C"}));
  EXPECT_EQ(TextsOf(*document->selectNodes("//e | //i | //d")),
            (std::vector<std::string>{"2", "A", "C", "bad"}));
  EXPECT_EQ(document->selectSingleNode("//e | //i")->text(), "2");
}

TEST(DomSelection, RelativePathsStartAtTheNode) {
  const auto x = Loaded(kReplies)->selectSingleNode("/can/x");
  EXPECT_EQ(x->selectNodes("r")->length(), 3U);
  EXPECT_EQ(x->selectSingleNode("d"), nullptr);
  EXPECT_EQ(x->selectSingleNode("r/d")->text(), "A");
}

TEST(DomSelection, PathsFromTheRootStartAtTheDocumentFromAnywhere) {
  const auto document = Loaded(kReplies);
  EXPECT_EQ(document->selectSingleNode("//d")->selectSingleNode("/can/x/i")->text(), "2");
  const auto loose = document->createElement("loose");
  EXPECT_EQ(loose->selectSingleNode("/can/x/i")->text(), "2");
  EXPECT_EQ(loose->selectSingleNode("/")->nodeType(), NodeType::kDocument);
}

TEST(DomSelection, NodesWithoutParentAreNotFound) {
  const auto document = Loaded("<a/>");
  const auto loose = document->createElement("e");
  loose->appendChild(document->createElement("e"));
  EXPECT_EQ(document->selectSingleNode("//e"), nullptr);
  EXPECT_EQ(loose->selectNodes("e")->length(), 1U);
  EXPECT_EQ(document->selectNodes("//*")->length(), 1U);
}

TEST(DomSelection, AnEmptyDocumentHasNothingToSelect) {
  EXPECT_EQ(NewDocument()->selectSingleNode("/k"), nullptr);
  EXPECT_EQ(NewDocument()->selectNodes("//e")->length(), 0U);
}

TEST(DomSelection, AListIsASnapshot) {
  const auto document = Loaded("<a><b>1</b></a>");
  const auto list = document->selectNodes("/a/b");
  document->documentElement()->setText("");
  document->documentElement()->appendChild(document->createElement("b"));
  EXPECT_EQ(TextsOf(*list), (std::vector<std::string>{"1"}));
  EXPECT_EQ(list->item(1), nullptr);
}

TEST(DomSelection, AListKeepsItsDocumentAlive) {
  auto document = Loaded(kReplies);
  const auto list = document->selectNodes("//d");
  document.reset();
  EXPECT_EQ(TextsOf(*list), (std::vector<std::string>{"A", "C"}));
}

TEST(DomSelection, ABadPathRaisesWhatIsWrongAndWhere) {
  const auto document = Loaded(kReplies);
  EXPECT_ERROR(document->selectSingleNode("/can/x/r["), -2147467259,
               "Bad path \"/can/x/r[\" at 9: Unrecognized node test");
  EXPECT_ERROR(document->selectNodes("/can/x/r[9]]"), -2147467259,
               "Bad path \"/can/x/r[9]]\" at 11: Incorrect query");
  EXPECT_ERROR(document->selectNodes(""), -2147467259,
               "Bad path \"\" at 0: Unrecognized node test");
  EXPECT_ERROR(document->selectSingleNode("1+1"), -2147467259,
               "Bad path \"1+1\" at 0: Expression does not evaluate to node set");
  EXPECT_ERROR(document->selectSingleNode("/can/x/@i"), -2147467259,
               "Bad path \"/can/x/@i\" at 0: it selects attributes, not nodes");
  EXPECT_ERROR(document->selectNodes("/can/x/@i"), -2147467259,
               "Bad path \"/can/x/@i\" at 0: it selects attributes, not nodes");
}

}  // namespace
}  // namespace quillmark::testing
