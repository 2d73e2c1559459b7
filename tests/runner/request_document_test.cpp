// SPDX-License-Identifier: MIT
#include "host/runner/request_document.h"

#include <gmock/gmock.h>

#include "quillmark/portable_platform.h"
#include "support/expect_error.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

using enum TransportForm;

RequestDocument Read(std::string_view xml, TransportForm form = kPlainCan) {
  const std::shared_ptr<DOMDocument> document = CreatePortablePlatform()->CreateDOMDocument();
  if (!xml.empty()) {
    document->loadXML(xml);
  }
  return ReadRequestDocument(*document, form);
}

RequestDocument ReadSteps(const std::string& steps) {
  return Read("<can><x i='1'><i>2</i>" + steps + "</x></can>");
}

TEST(RequestDocument, OfPlainCanHasItsIdentifiersAndSteps) {
  const RequestDocument document = Read(
      "<?xml version='1.0'?><can>\r\n<x "
      "i=\"1850\">\r\n<i>1586</i>\r\n<s><d>0210C00000000000</d></s>"
      "\r\n<r><c>0250C0</c></r>\r\n<w>20</w>\r\n</x></can>");
  EXPECT_EQ(document.exchange, (Exchange{kPlainCan, 1850, 1586}));
  ASSERT_EQ(document.steps.size(), 3U);
  EXPECT_EQ(document.steps[0].kind, StepKind::kSend);
  EXPECT_EQ(document.steps[0].frame, (Bytes{0x02, 0x10, 0xC0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(document.steps[1].kind, StepKind::kReceive);
  EXPECT_EQ(document.steps[1].expected, "0250C0");
  EXPECT_EQ(document.steps[1].element->nodeName(), "r");
  EXPECT_EQ(document.steps[2].kind, StepKind::kWait);
  EXPECT_EQ(document.steps[2].time, 20ms);
}

TEST(RequestDocument, OfAGatewayHasItsChannelAndLine) {
  EXPECT_EQ(Read("<can><x i='3'><i>13</i></x></can>", kGateway).exchange,
            (Exchange{kGateway, 3, 13}));
}

TEST(RequestDocument, OfAKLineMayBreak) {
  const RequestDocument document =
      Read("<k><bk>25</bk><w>25</w><s><d>8111F18104</d></s><r><c>83F111C1</c></r></k>", kKLine);
  EXPECT_EQ(document.exchange, Exchange{kKLine});
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
  EXPECT_ERROR(Read("<image/>"), 13, "not a request document: its root is \"image\", not \"can\"");
  EXPECT_ERROR(Read("<k/>", kGateway), 13,
               "not a request document: its root is \"k\", not \"can\"");
  EXPECT_ERROR(Read("<can/>", kKLine), 13,
               "not a request document: its root is \"can\", not \"k\"");
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

TEST(RequestDocument, IsRefusedOnceItHasBeenRun) {
  EXPECT_ERROR(ReadSteps("<r><c>01</c><d>01</d></r>"), 13,
               "not a request document: it has been run before");
  EXPECT_ERROR(ReadSteps("<r><c>01</c><e>silence</e></r>"), 13,
               "not a request document: it has been run before");
}

}  // namespace
}  // namespace quillmark::host
