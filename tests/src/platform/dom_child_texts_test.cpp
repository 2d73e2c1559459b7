// SPDX-License-Identifier: MIT
// The operation that reads the frames of a run document: on this platform, and as every other
// platform inherits it.
#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/expect_error.h"
#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Each child's text, "(no part)" or "(empty)".
struct Texts {
  void operator()(const ChildText& child) {
    switch (child.state) {
      case ChildText::State::kNoPart:
        all.emplace_back("(no part)");
        break;
      case ChildText::State::kEmptyPart:
        all.emplace_back("(empty)");
        break;
      case ChildText::State::kText:
        all.emplace_back(child.text);
        break;
    }
  }
  std::vector<std::string> all;
};

std::vector<std::string> OnThisPlatform(const IXMLDOMNode& node) {
  Texts texts;
  node.readChildTexts("r", "d", std::ref(texts));
  return texts.all;
}

std::vector<std::string> Inherited(const IXMLDOMNode& node) {
  Texts texts;
  node.IXMLDOMNode::readChildTexts("r", "d", std::ref(texts));
  return texts.all;
}

class DomChildTexts
    : public ::testing::TestWithParam<std::vector<std::string> (*)(const IXMLDOMNode&)> {
 protected:
  static std::vector<std::string> Read(std::string_view xml) {
    return GetParam()(*Loaded(std::string(xml))->documentElement());
  }
};

TEST_P(DomChildTexts, AreThoseOfTheNamedChildrenInTurn) {
  EXPECT_THAT(Read("<x>\n<s><d>1</d></s><r><c>2</c><d>3</d></r>\n<r><d>4</d><d>5</d></r></x>"),
              ElementsAre("3", "4"));
}

TEST_P(DomChildTexts, TellWhatIsMissing) {
  EXPECT_THAT(Read("<x><r/><r><c>1</c></r><r><d/></r><r><d></d></r><r><D>1</D></r></x>"),
              ElementsAre("(no part)", "(no part)", "(empty)", "(empty)", "(no part)"));
}

TEST_P(DomChildTexts, AreThoseOfTheFirstContentOfAnyKind) {
  EXPECT_THAT(Read("<x><r><d><![CDATA[1]]>2</d></r><r><d><!--3-->4</d></r><r><d><?p 5?>6</d></r>"
                   "<r><d><b>7<i>8</i></b>9</d></r><r><d> <b/></d></r></x>"),
              ElementsAre("1", "3", "5", "78", " "));
}

TEST_P(DomChildTexts, PassOverWhatIsNoChildElementOfThatName) {
  EXPECT_THAT(Read("<x><?r d?><R><d>1</d></R><y><r><d>2</d></r></y><r><?d 3?><e><d>4</d></e>"
                   "<d>5</d></r><!--r-->r</x>"),
              ElementsAre("5"));
  EXPECT_THAT(Read("<x/>"), IsEmpty());
}

TEST_P(DomChildTexts, LetAnErrorOfTheReaderThrough) {
  const auto document = Loaded("<x><r><d>1</d></r></x>");
  EXPECT_ERROR(document->documentElement()->readChildTexts(
                   "r", "d", [](const ChildText& /*child*/) { throw Error(2000, "no"); }),
               2000, "no");
}

INSTANTIATE_TEST_SUITE_P(Platforms, DomChildTexts, ::testing::Values(OnThisPlatform, Inherited),
                         [](const auto& test) {
                           return std::string(test.index == 0 ? "This" : "Inherited");
                         });

}  // namespace
}  // namespace quillmark::testing
