// SPDX-License-Identifier: MIT
#include "quillmark/request_document.h"

#include <gmock/gmock.h>

#include "quillmark/portable_platform.h"
#include "support/expect_error.h"

namespace quillmark {
namespace {

using namespace std::chrono_literals;

using Frame = std::vector<std::uint8_t>;

std::shared_ptr<DOMDocument> Document(std::string_view xml) {
  std::shared_ptr<DOMDocument> document = CreatePortablePlatform()->CreateDOMDocument();
  if (!xml.empty()) {
    document->loadXML(xml);
  }
  return document;
}

RequestDocument Read(std::string_view xml) { return ReadRequestDocument(*Document(xml)); }

RequestDocument ReadSteps(const std::string& steps) {
  return Read("<can><x i='1'><i>2</i>" + steps + "</x></can>");
}

TEST(RequestDocument, OfPlainCanHasItsIdentifiersAndSteps) {
  const RequestDocument document = Read(
      "<?xml version='1.0'?><can>\r\n<x "
      "i=\"1850\">\r\n<i>1586</i>\r\n<s><d>0210C00000000000</d></s>"
      "\r\n<r><c>0250C0</c></r>\r\n<w>20</w>\r\n</x></can>");
  EXPECT_FALSE(document.is_on_k_line);
  EXPECT_EQ(document.receive_identifier, 1850U);
  EXPECT_EQ(document.send_identifier, 1586U);
  ASSERT_EQ(document.steps.size(), 3U);
  EXPECT_EQ(document.steps[0].kind, StepKind::kSend);
  EXPECT_EQ(document.steps[0].frame, (Frame{0x02, 0x10, 0xC0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(document.steps[1].kind, StepKind::kReceive);
  EXPECT_EQ(document.steps[1].expected, "0250C0");
  EXPECT_EQ(document.steps[1].element->nodeName(), "r");
  EXPECT_EQ(document.steps[2].kind, StepKind::kWait);
  EXPECT_EQ(document.steps[2].time, 20ms);
}

TEST(RequestDocument, OfAGatewayHasItsChannelAndLine) {
  const RequestDocument document = Read("<can><x i='3'><i>13</i></x></can>");
  EXPECT_EQ(document.receive_identifier, 3U);
  EXPECT_EQ(document.send_identifier, 13U);
}

TEST(RequestDocument, OfAKLineMayBreak) {
  const RequestDocument document =
      Read("<k><bk>25</bk><w>25</w><s><d>8111F18104</d></s><r><c>83F111C1</c></r></k>");
  EXPECT_TRUE(document.is_on_k_line);
  ASSERT_EQ(document.steps.size(), 4U);
  EXPECT_EQ(document.steps[0].kind, StepKind::kBreak);
  EXPECT_EQ(document.steps[0].time, 25ms);
}

TEST(RequestDocument, MayHaveNoSteps) { EXPECT_TRUE(ReadSteps("").steps.empty()); }

TEST(RequestDocument, ExpectsInEitherCaseAndAnything) {
  const RequestDocument document = ReadSteps("<r><c>2a</c></r><r><c></c></r>");
  EXPECT_EQ(document.steps[0].expected, "2A");
  EXPECT_EQ(document.steps[1].expected, "");
}

TEST(RequestDocument, PassesOverTextAndComments) {
  EXPECT_EQ(ReadSteps("text<!-- comment --><w>1</w>").steps.size(), 1U);
}

TEST(RequestDocument, IsRefusedWithAnotherRoot) {
  EXPECT_ERROR(Read(""), 13, "not a request document: it is empty");
  EXPECT_ERROR(Read("<image/>"), 13,
               "not a request document: its root is \"image\", not \"can\" or \"k\"");
}

TEST(RequestDocument, IsRefusedWithoutItsExchange) {
  constexpr const char* kOneExchange =
      "not a request document: \"can\" must hold one \"x\" and nothing else";
  EXPECT_ERROR(Read("<can/>"), 13, kOneExchange);
  EXPECT_ERROR(Read("<can><y/></can>"), 13, kOneExchange);
  EXPECT_ERROR(Read("<can><x i='1'><i>2</i></x><x i='1'><i>2</i></x></can>"), 13, kOneExchange);
  constexpr const char* kIdentifiers =
      "not a request document: \"x\" must have an attribute \"i\" and begin with an element \"i\"";
  EXPECT_ERROR(Read("<can><x><i>2</i></x></can>"), 13, kIdentifiers);
  EXPECT_ERROR(Read("<can><x i='1'/></can>"), 13, kIdentifiers);
  EXPECT_ERROR(Read("<can><x i='1'><w>1</w></x></can>"), 13, kIdentifiers);
}

TEST(RequestDocument, IsRefusedWithIdentifiersThatNoCanFrameHas) {
  EXPECT_ERROR(Read("<can><x i='-1'><i>2</i></x></can>"), 13,
               "not a request document: the identifier \"-1\" is no number from 0 to 536870911");
  EXPECT_ERROR(
      Read("<can><x i='1'><i>536870912</i></x></can>"), 13,
      "not a request document: the identifier \"536870912\" is no number from 0 to 536870911");
}

TEST(RequestDocument, IsRefusedWithStepsThatItDoesNotKnow) {
  EXPECT_ERROR(ReadSteps("<z/>"), 13, "not a request document: \"z\" is no step");
  EXPECT_ERROR(ReadSteps("<bk>25</bk>"), 13, "not a request document: \"bk\" is no step");
  EXPECT_ERROR(ReadSteps("<s/>"), 13,
               "not a request document: \"s\" must hold one \"d\" and nothing else");
  EXPECT_ERROR(ReadSteps("<s><d>01</d><d>01</d></s>"), 13,
               "not a request document: \"s\" must hold one \"d\" and nothing else");
  EXPECT_ERROR(ReadSteps("<r/>"), 13,
               "not a request document: \"r\" must hold one \"c\" and nothing else");
}

TEST(RequestDocument, IsRefusedWithFramesThatAreNone) {
  EXPECT_ERROR(ReadSteps("<s><d></d></s>"), 13,
               "not a request document: the frame \"\" is no hex text");
  EXPECT_ERROR(ReadSteps("<s><d>0G</d></s>"), 13,
               "not a request document: the frame \"0G\" is no hex text");
  EXPECT_ERROR(ReadSteps("<s><d>001122334455667788</d></s>"), 13,
               "not a request document: the frame \"001122334455667788\" has more than 8 bytes");
  EXPECT_ERROR(ReadSteps("<r><c>0 1</c></r>"), 13,
               "not a request document: the expected frame \"0 1\" is no hex text");
}

TEST(RequestDocument, IsRefusedWithTimesThatAreNone) {
  for (const char* time : {"", "-1", "1.5", " 1", "2147483648"}) {
    EXPECT_ERROR(ReadSteps("<w>" + std::string(time) + "</w>"), 13,
                 "not a request document: w \"" + std::string(time) +
                     "\" is no number from 0 to 2147483647");
  }
}

TEST(RequestDocument, HasWhatARunWroteIntoIt) {
  const RequestDocument document =
      ReadSteps("<r><c>06</c><d>0667</d></r><r><c>06</c><e>silence</e></r><w>5<e>stopped</e></w>");
  EXPECT_EQ(document.steps[0].received, (Frame{0x06, 0x67}));
  EXPECT_EQ(document.steps[0].failure, std::nullopt);
  EXPECT_EQ(document.steps[1].received, std::nullopt);
  EXPECT_EQ(document.steps[1].failure, "silence");
  EXPECT_EQ(document.steps[2].failure, "stopped");
}

constexpr const char* kTwoReplies =
    "<k><s><d>8111F18104</d></s><r><c>83F111</c></r><r><c></c></r><w>20</w></k>";

TEST(Step, ExpectsAFrameThatBeginsWithItsText) {
  const RequestDocument document = Read(kTwoReplies);
  EXPECT_TRUE(document.steps[1].Expects(Frame{0x83, 0xF1, 0x11, 0xC1}));
  EXPECT_FALSE(document.steps[1].Expects(Frame{0x83, 0xF1}));
  EXPECT_FALSE(document.steps[1].Expects(Frame{0x83, 0xF1, 0x10}));
  EXPECT_TRUE(document.steps[2].Expects(Frame{}));
}

TEST(Step, WritesItsAnswerIntoTheDocument) {
  const auto document = Document(kTwoReplies);
  Step step = ReadRequestDocument(*document).steps[1];
  step.Answer(Frame{0x83, 0xF1, 0x11, 0xC1});
  EXPECT_EQ(step.received, (Frame{0x83, 0xF1, 0x11, 0xC1}));
  EXPECT_EQ(step.element->xml(), "<r><c>83F111</c><d>83F111C1</d></r>");
  EXPECT_EQ(ReadRequestDocument(*document).steps[1].received, step.received);
}

TEST(Step, WritesItsFailureIntoTheDocument) {
  const auto document = Document(kTwoReplies);
  for (Step& step : ReadRequestDocument(*document).steps) {
    step.Fail("<no reply>");
    EXPECT_EQ(step.failure, "<no reply>");
  }
  for (const Step& step : ReadRequestDocument(*document).steps) {
    EXPECT_EQ(step.failure, "<no reply>");
  }
}

TEST(Step, TakesOneResultAlone) {
  RequestDocument document = Read(kTwoReplies);
  EXPECT_ERROR(document.steps[0].Answer(Frame{1}), 13, "only a receive step takes a frame");
  EXPECT_ERROR(document.steps[3].Answer(Frame{1}), 13, "only a receive step takes a frame");
  document.steps[1].Answer(Frame{1});
  EXPECT_ERROR(document.steps[1].Answer(Frame{1}), 13, "the step has its frame already");
  document.steps[1].Fail("silence");
  EXPECT_ERROR(document.steps[1].Fail("silence"), 13, "the step has failed already");
}

TEST(HasRun, IsTrueOnceEachReplyIsThere) {
  const auto document = Document(kTwoReplies);
  std::vector<Step> steps = ReadRequestDocument(*document).steps;
  EXPECT_FALSE(HasRun(*document));
  steps[1].Answer(Frame{1});
  EXPECT_FALSE(HasRun(*document));
  steps[2].Answer(Frame{2});
  EXPECT_TRUE(HasRun(*document));
}

TEST(HasRun, IsTrueOnceARunHasFailed) {
  for (std::size_t at = 0; at < 4; ++at) {
    const auto document = Document(kTwoReplies);
    ReadRequestDocument(*document).steps[at].Fail("silence");
    EXPECT_TRUE(HasRun(*document)) << at;
  }
}

TEST(HasRun, IsTrueWhereThereIsNothingToReceive) { EXPECT_TRUE(HasRun(*Document("<k/>"))); }

}  // namespace
}  // namespace quillmark
