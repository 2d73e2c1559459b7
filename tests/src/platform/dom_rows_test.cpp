// SPDX-License-Identifier: MIT
// Rows of leaves: the result must not differ from nodes made one by one, which is what another
// platform inherits.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/expect_error.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

/// Longer than what is parsed as markup.
constexpr std::string_view kLong =
    "34800000007F00112233445566778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF";
constexpr std::string_view kLongWithMarkup =
    "34800000007F00112233445566778899AABBCCDDEEFF0011<&>33445566778899AABBCCDDEEFF";
constexpr std::string_view kNul("\0", 1);

/// Texts that lie side by side would look the same in a serialised tree.
void ExpectSameTree(const IXMLDOMNode& a, const IXMLDOMNode& b) {
  EXPECT_EQ(a.nodeType(), b.nodeType());
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

/// The same row behind so many leaves that a platform may append it in another way.
std::vector<Leaf> Lengthened(const std::vector<Leaf>& row) {
  std::vector<Leaf> longer(50, {"s", "d", "00"});
  longer.insert(longer.end(), row.begin(), row.end());
  return longer;
}

class DomRows : public ::testing::Test {
 protected:
  static void ExpectSameAsNodeByNode(const std::vector<Leaf>& row) {
    for (const auto& leaves : {row, Lengthened(row)}) {
      for (const char* xml : {"<x/>", "<x>old</x>", "<x><a/></x>"}) {
        const auto x = Loaded(xml)->documentElement();
        x->appendLeaves(leaves);
        const auto node_by_node = Loaded(xml)->documentElement();
        node_by_node->IXMLDOMElement::appendLeaves(leaves);
        ExpectSameTree(*x, *node_by_node);
      }
    }
  }

  void ExpectRefused(const std::vector<Leaf>& row, const std::string& reason) const {
    EXPECT_ERROR(x_->appendLeaves(row), 13, reason);
    EXPECT_ERROR(x_->appendLeaves(Lengthened(row)), 13, reason);
  }

  const std::shared_ptr<IXMLDOMElement> x_ = Loaded("<x>old</x>")->documentElement();
};

TEST_F(DomRows, AreTheLeavesInTurn) {
  x_->appendLeaves(std::vector<Leaf>{{"s", "d", "0210C0"}, {"w", {}, "5"}, {"r", "c", {}}});
  EXPECT_EQ(x_->xml(), "<x>old<s><d>0210C0</d></s>\r\n<w>5</w>\r\n<r><c></c></r>\r\n</x>");
}

TEST_F(DomRows, MayBeEmpty) {
  x_->appendLeaves({});
  EXPECT_EQ(x_->xml(), "<x>old</x>");
}

TEST_F(DomRows, AnEmptyTextIsATextNode) {
  x_->appendLeaves(std::vector<Leaf>{{"r", "c", {}}, {"w", {}, {}}});
  for (const char* path : {"r/c", "w"}) {
    const auto text = x_->selectSingleNode(path)->firstChild();
    ASSERT_NE(text, nullptr) << path;
    EXPECT_EQ(text->nodeType(), NodeType::kText);
  }
}

TEST_F(DomRows, KeepTextsThatAParserWouldNot) {
  for (const std::string_view text :
       std::vector<std::string_view>{"", "-", " ", "\r\n", "<", "&", "&amp;", "<a/>", "</d>", "]]>",
                                     "\xC3\xA4", kLong, kLongWithMarkup}) {
    ExpectSameAsNodeByNode({{"s", "d", text}});
    ExpectSameAsNodeByNode({{"w", {}, text}});
    ExpectSameAsNodeByNode({{"r", "c", {}}, {"w", {}, text}, {"s", "d", text}, {"r", "c", "1"}});
  }
}

TEST_F(DomRows, KeepNamesOfEveryKind) {
  ExpectSameAsNodeByNode({{"s", "s", "1"}, {"_a-b.1", "\xC3\xA4", "2"}, {"s", {}, "3"}});
}

TEST_F(DomRows, AreAppendedAllOrNone) {
  const std::string with_nul = std::string(kLong) + '\0';
  for (const std::string_view text : {kNul, std::string_view(with_nul)}) {
    ExpectRefused({{"s", "d", "1"}, {"s", "d", text}}, "XML text cannot hold the character U+0000");
  }
  for (const char* name : {"", "1", "a b", "a><b", "a/"}) {
    const std::string reason = "\"" + std::string(name) + "\" is not an XML name";
    ExpectRefused({{"s", "d", "1"}, {name, "d", "2"}}, reason);
    if (*name != '\0') {
      ExpectRefused({{"s", "d", "1"}, {"s", name, "2"}}, reason);
    }
  }
  EXPECT_EQ(x_->xml(), "<x>old</x>");
}

}  // namespace
}  // namespace quillmark::testing
