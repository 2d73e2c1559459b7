// SPDX-License-Identifier: MIT
// Requests and expected replies of any length, beyond what the services ask for.
#include "context/request.h"

#include "support/component_test.h"

namespace quillmark::testing {
namespace {

class RequestBuilder : public ::testing::TestWithParam<Form> {
 protected:
  RequestBuilder() { context_.CANIDs(GetParam().RCANId, GetParam().XCANId); }

  /// The steps of the expected reply alone.
  std::string ExpectedReply(const Bytes& expected, std::int32_t reply_length) {
    Request request(context_);
    request.AddStep(Bytes{0x3E}, expected, reply_length);
    const std::string text = XmlOf(*request.Finish());
    const std::size_t start = text.find("<r>");
    return text.substr(start, text.rfind(GetParam().tail) - start);
  }

  std::string SentFor(const Bytes& request_bytes) {
    Request request(context_);
    request.AddStep(request_bytes, Bytes{}, 1);
    const std::string text = XmlOf(*request.Finish());
    const std::size_t start = text.find("<s><d>") + 6;
    return text.substr(start, text.find("</d>") - start);
  }

  static std::string Steps(const std::vector<std::string>& steps) {
    std::string text;
    for (const std::string& step : steps) {
      text += step + "\r\n";
    }
    return text;
  }

  Context context_{TestPlatform()};
};

TEST_P(RequestBuilder, PrefixIsNoLongerThanTheReply) {
  EXPECT_ERROR(ExpectedReply(Bytes(3), 2), 1000, "can't check more bytes than received");
  EXPECT_ERROR(ExpectedReply(Bytes{}, -1), 1000, "can't check more bytes than received");
  EXPECT_ERROR(ExpectedReply(Bytes(300), 299), 1000, "can't check more bytes than received");
}

TEST_P(RequestBuilder, FailedRequestLeavesTheBuffers) {
  const std::string before = SentFor(Bytes{0x3E});
  EXPECT_ERROR(ExpectedReply(Bytes(3), 2), 1000, "can't check more bytes than received");
  EXPECT_EQ(SentFor(Bytes{0x3E}), before);
}

INSTANTIATE_TEST_SUITE_P(Forms, RequestBuilder, ::testing::ValuesIn(kAllForms), FormName());

using PlainCanBuilder = RequestBuilder;

TEST_P(PlainCanBuilder, ReplyOfSevenBytesIsASingleFrame) {
  EXPECT_EQ(ExpectedReply({0x67, 0x81}, 7), Steps({Receive("076781")}));
}

TEST_P(PlainCanBuilder, ReplyOfEightBytesIsSegmented) {
  EXPECT_EQ(ExpectedReply({0x67, 0x81}, 8),
            Steps({Receive("10086781"), Send("3001000000000000"), Receive("21")}));
}

TEST_P(PlainCanBuilder, ReplyOf20BytesHasTwoConsecutiveFrames) {
  EXPECT_EQ(ExpectedReply({0x67, 0x81}, 20),
            Steps({Receive("10146781"), Send("3001000000000000"), Receive("21"),
                   Send("3001000000000000"), Receive("22")}));
}

TEST_P(PlainCanBuilder, SequenceNumbersOfTheReplyWrap) {
  const std::string end = Steps({Receive("2F"), Send("3001000000000000"), Receive("20"),
                                 Send("3001000000000000"), Receive("21")});
  const std::string steps = ExpectedReply({}, 125);
  EXPECT_EQ(steps.substr(steps.size() - end.size()), end);
}

TEST_P(PlainCanBuilder, ReplyMayBeEmpty) {
  EXPECT_EQ(ExpectedReply({}, 0), Steps({Receive("00")}));
}

TEST_P(PlainCanBuilder, PrefixMayBeEmpty) {
  EXPECT_EQ(ExpectedReply({}, 3), Steps({Receive("03")}));
  EXPECT_EQ(ExpectedReply({}, 8),
            Steps({Receive("1008"), Send("3001000000000000"), Receive("21")}));
}

TEST_P(PlainCanBuilder, FirstFrameHoldsSixBytesOfPrefix) {
  EXPECT_EQ(ExpectedReply({1, 2, 3, 4, 5, 6}, 8).substr(0, 30), "<r><c>1008010203040506</c></r>");
  EXPECT_ERROR(ExpectedReply(Bytes(7), 8), 1000,
               "can't check more than 6 bytes in segmented reply");
  EXPECT_EQ(ExpectedReply({1, 2, 3, 4, 5, 6, 7}, 7), Steps({Receive("0701020304050607")}));
}

TEST_P(PlainCanBuilder, ReplyHasAtMost4095Bytes) {
  EXPECT_EQ(ExpectedReply({}, 4095).substr(0, 18), "<r><c>1FFF</c></r>");
  EXPECT_ERROR(ExpectedReply({}, 4096), 1000, "Invalid reply length (4096)");
}

TEST_P(PlainCanBuilder, EmptyRequestSendsTheFrameAsItIs) {
  static_cast<void>(SentFor({0x27, 0x82, 0x33}));
  EXPECT_EQ(SentFor({}), "0027823300000000");
}

TEST_P(PlainCanBuilder, RequestHasAtMost4095Bytes) {
  EXPECT_EQ(SentFor(Bytes(4095, 0xAA)), "1FFFAAAAAAAAAAAA");
  EXPECT_ERROR(SentFor(Bytes(4096)), 1000, "Invalid request length (4096)");
}

INSTANTIATE_TEST_SUITE_P(Form, PlainCanBuilder, ::testing::Values(kPlainCan), FormName());

using KStyleBuilder = RequestBuilder;

TEST_P(KStyleBuilder, ReplyHas1To255Bytes) {
  EXPECT_ERROR(ExpectedReply({}, 0), 1000, "Invalid reply length (0)");
  EXPECT_ERROR(ExpectedReply({}, 256), 1000, "Invalid reply length (256)");
  EXPECT_NO_THROW(ExpectedReply({}, 255));
}

TEST_P(KStyleBuilder, RequestHas1To255Bytes) {
  EXPECT_ERROR(SentFor({}), 1000, "Invalid request length (0)");
  EXPECT_ERROR(SentFor(Bytes(256)), 1000, "Invalid request length (256)");
  EXPECT_NO_THROW(SentFor(Bytes(255)));
}

INSTANTIATE_TEST_SUITE_P(Forms, KStyleBuilder, ::testing::Values(kGateway, kKLine), FormName());

using KLineBuilder = RequestBuilder;

TEST_P(KLineBuilder, WholePrefixHasItsChecksum) {
  EXPECT_EQ(ExpectedReply({0x67, 0x82}, 2), Steps({Receive("82F11167826D")}));
  EXPECT_EQ(ExpectedReply({0x67, 0x82}, 3), Steps({Receive("83F1116782")}));
}

TEST_P(KLineBuilder, PrefixMayBeEmpty) {
  EXPECT_EQ(ExpectedReply({}, 3), Steps({Receive("83F111")}));
  EXPECT_EQ(ExpectedReply({}, 63), Steps({Receive("80F1113F")}));
}

// D7.
TEST_P(KLineBuilder, LengthFrom63OnHasItsOwnByte) {
  EXPECT_EQ(ExpectedReply({0x61}, 62), Steps({Receive("BEF11161")}));
  EXPECT_EQ(ExpectedReply({0x61}, 63), Steps({Receive("80F1113F61")}));
  EXPECT_EQ(ExpectedReply({0x61}, 255), Steps({Receive("80F111FF61")}));
}

INSTANTIATE_TEST_SUITE_P(Form, KLineBuilder, ::testing::Values(kKLine), FormName());

using GatewayBuilder = RequestBuilder;

TEST_P(GatewayBuilder, EveryFrameOfTheReplyButTheLastIsAcknowledged) {
  EXPECT_EQ(ExpectedReply({0x67, 0x81}, 6),
            Steps({Receive("0286F16E6781"), Send("81"), Receive("")}));
}

TEST_P(GatewayBuilder, KnownBytesMayFillSeveralFrames) {
  EXPECT_EQ(ExpectedReply({1, 2, 3, 4, 5}, 20),
            Steps({Receive("0494F16E01020304"), Send("81"), Receive("05"), Send("81"), Receive(""),
                   Send("81"), Receive("")}));
}

TEST_P(GatewayBuilder, KnownBytesMayEndWithAFrame) {
  EXPECT_EQ(ExpectedReply({1, 2, 3, 4}, 5),
            Steps({Receive("0285F16E01020304"), Send("81"), Receive("")}));
}

TEST_P(GatewayBuilder, WholePrefixHasItsChecksum) {
  EXPECT_EQ(ExpectedReply({1, 2, 3, 4}, 4),
            Steps({Receive("0284F16E01020304"), Send("81"), Receive("ED")}));
}

TEST_P(GatewayBuilder, LengthFrom63OnHasItsOwnByte) {
  EXPECT_EQ(ExpectedReply({0x61}, 63).substr(0, 25), "<r><c>0980F16E3F61</c></r");
  EXPECT_EQ(SentFor(Bytes(62, 0xAA)), "09BE6EF1AAAAAAAA");
  EXPECT_EQ(SentFor(Bytes(63, 0xAA)), "09806EF13FAAAAAA");
}

TEST_P(GatewayBuilder, PrefixMayBeEmpty) {
  EXPECT_EQ(ExpectedReply({}, 3), Steps({Receive("0183F16E")}));
}

INSTANTIATE_TEST_SUITE_P(Form, GatewayBuilder, ::testing::Values(kGateway), FormName());

}  // namespace
}  // namespace quillmark::testing
