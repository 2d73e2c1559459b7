// SPDX-License-Identifier: MIT
// Reading the frames of a run document back into one message.
#include "context/reply.h"

#include "support/component_test.h"

namespace quillmark::testing {
namespace {

constexpr auto kNotSet = "Object variable or With block variable not set";
constexpr auto kNoText = "Application-defined or object-defined error";

class ReplyTest : public ComponentTest {
 protected:
  [[nodiscard]] static TransportForm FormOf(const Form& form) {
    if (form.name == kKLine.name) {
      return TransportForm::kKLine;
    }
    return form.name == kPlainCan.name ? TransportForm::kPlainCan : TransportForm::kGateway;
  }

  /// The message from the first `r` on, as hex; "null" if there is no message.
  [[nodiscard]] std::string Read(const Form& form, const std::vector<std::string>& frames) const {
    return ReadFrom(form, Replies(form, frames));
  }

  [[nodiscard]] std::string ReadText(const Form& form, std::string_view text) const {
    return ReadFrom(form, Parse(text));
  }

 private:
  [[nodiscard]] static std::string ReadFrom(const Form& form,
                                            const std::shared_ptr<DOMDocument>& document) {
    const auto reply =
        ReadReply(FormOf(form), document->documentElement()->selectSingleNode("//r"));
    return reply ? HexOf(*reply) : "null";
  }
};

using PlainCanReply = ReplyTest;

TEST_F(PlainCanReply, SingleFrame) {
  EXPECT_EQ(Read(kPlainCan, {"06678111223344"}), "678111223344");
  EXPECT_EQ(Read(kPlainCan, {"0250C0AAAAAAAAAA"}), "50C0");
  EXPECT_EQ(Read(kPlainCan, {"0711223344556677"}), "11223344556677");
  EXPECT_EQ(Read(kPlainCan, {"00AAAAAAAAAAAAAA"}), "");
}

TEST_F(PlainCanReply, SingleFrameShorterThanItSays) {
  EXPECT_ERROR(Read(kPlainCan, {"0250"}), 9, "Subscript out of range");
  EXPECT_ERROR(Read(kPlainCan, {"0F11223344556677"}), 9, "Subscript out of range");
}

TEST_F(PlainCanReply, SegmentsOf20BytesTakeTwoFurtherFrames) {
  EXPECT_EQ(Read(kPlainCan, {"1014010203040506", "210708090A0B0C0D", "220E0F1011121314", "-"}),
            "0102030405060708090A0B0C0D0E0F1011121314");
}

TEST_F(PlainCanReply, SegmentsOf19BytesDropThePadding) {
  EXPECT_EQ(Read(kPlainCan, {"1013010203040506", "210708090A0B0C0D", "220E0F1011121314"}),
            "0102030405060708090A0B0C0D0E0F10111213");
}

// D11.
TEST_F(PlainCanReply, SequenceNumbersAreNotCompared) {
  EXPECT_EQ(Read(kPlainCan, {"1008010203040506", "3F0708"}), "0102030405060708");
}

TEST_F(PlainCanReply, FirstFrameOfFewBytesIsCut) {
  EXPECT_EQ(Read(kPlainCan, {"1000AABBCCDDEEFF"}), "");
  EXPECT_EQ(Read(kPlainCan, {"1003AABBCCDDEEFF"}), "AABBCC");
  EXPECT_EQ(Read(kPlainCan, {"1006AABBCCDDEEFF"}), "AABBCCDDEEFF");
}

TEST_F(PlainCanReply, ShortFrames) {
  EXPECT_ERROR(Read(kPlainCan, {"10"}), 9, "Subscript out of range");
  EXPECT_ERROR(Read(kPlainCan, {"1008AABBCC"}), 9, "Subscript out of range");
  EXPECT_ERROR(Read(kPlainCan, {"1008010203040506", "2107"}), 9, "Subscript out of range");
  EXPECT_EQ(Read(kPlainCan, {"100D010203040506", "2107"}), "01020304050607");
  EXPECT_EQ(Read(kPlainCan, {"100D010203040506", "21"}), "010203040506");
}

TEST_F(PlainCanReply, LengthHas12Bits) {
  std::vector<std::string> frames = {"1FFF000000000000"};
  for (int frame = 0; frame < 585; ++frame) {
    frames.emplace_back("21AAAAAAAAAAAAAA");
  }
  EXPECT_EQ(Read(kPlainCan, frames).size(), 2U * 4095);
}

TEST_F(PlainCanReply, OtherFramesAreNoMessage) {
  EXPECT_EQ(Read(kPlainCan, {"300100"}), "null");
  EXPECT_EQ(Read(kPlainCan, {"2101"}), "null");
  EXPECT_EQ(Read(kPlainCan, {"F0"}), "null");
}

TEST_F(PlainCanReply, FurtherFrameMustBeThere) {
  EXPECT_ERROR(Read(kPlainCan, {"1008010203040506", "-"}), 2000, kNoText);
  EXPECT_ERROR(Read(kPlainCan, {"1008010203040506"}), 91, kNotSet);
}

using GatewayReply = ReplyTest;

TEST_F(GatewayReply, FramesAreJoined) {
  EXPECT_EQ(Read(kGateway, {"0182F16E6782CA"}), "6782");
  EXPECT_EQ(Read(kGateway, {"0286F16E67811122", "334477"}), "678111223344");
}

TEST_F(GatewayReply, CountOfZeroOrOneTakesOneFrame) {
  EXPECT_EQ(Read(kGateway, {"0082F16E6782CA", "-"}), "6782");
}

TEST_F(GatewayReply, FurtherFrameMustBeThere) {
  EXPECT_ERROR(Read(kGateway, {"0286F16E67811122", "-"}), 2000, kNoText);
  EXPECT_ERROR(Read(kGateway, {"0286F16E67811122"}), 91, kNotSet);
}

TEST_F(GatewayReply, ChecksumErrorShowsTheMessageWithoutItsCount) {
  EXPECT_ERROR(Read(kGateway, {"0182F16E6782CB"}), 2003, "Checksum error 82F16E6782CB");
  EXPECT_ERROR(Read(kGateway, {"01"}), 2003, "Checksum error ");
}

using KLineReply = ReplyTest;

TEST_F(KLineReply, LengthIsInTheFormatByte) {
  EXPECT_EQ(Read(kKLine, {"82F11067826C"}), "6782");
  EXPECT_EQ(Read(kKLine, {"02F1106782EC"}), "6782");
}

TEST_F(KLineReply, LengthIsInItsOwnByte) {
  EXPECT_EQ(Read(kKLine, {"80F1100267826C"}), "6782");
  EXPECT_EQ(Read(kKLine, {"80F1100081"}), "");
  EXPECT_EQ(Read(kKLine, {"00F1100001"}), "");
}

// D12.
TEST_F(KLineReply, BytesAfterTheChecksumAreIgnored) {
  EXPECT_EQ(Read(kKLine, {"82F11067826CFFFF"}), "6782");
}

TEST_F(KLineReply, WrongChecksumIsReported) {
  EXPECT_ERROR(Read(kKLine, {"82F11067826D"}), 2003, "Checksum error 82F11067826D");
}

TEST_F(KLineReply, MessageCutShortIsReported) {
  EXPECT_ERROR(Read(kKLine, {"82F1106782"}), 2003, "Checksum error 82F1106782");
  EXPECT_ERROR(Read(kKLine, {"80F11000"}), 2003, "Checksum error 80F11000");
  EXPECT_ERROR(Read(kKLine, {"82F110"}), 2003, "Checksum error 82F110");
}

struct FormReply : ReplyTest, ::testing::WithParamInterface<Form> {};

TEST_P(FormReply, MissingNodeIsAnEmptyReply) {
  EXPECT_EQ(ReadReply(FormOf(GetParam()), nullptr), Bytes{});
}

TEST_P(FormReply, MissingDataIsAnEmptyReply) { EXPECT_EQ(Read(GetParam(), {"-"}), ""); }

TEST_P(FormReply, DataWithoutTextHasNoObject) {
  EXPECT_ERROR(ReadText(GetParam(), "<k><r><d/></r></k>"), 91, kNotSet);
}

TEST_P(FormReply, DataThatIsNotHexIsOfTheWrongType) {
  for (const char* text : {"0", "0x67", " 0167", "01 67", "01G7"}) {
    EXPECT_ERROR(Read(GetParam(), {text}), 13, "Type mismatch") << text;
  }
}

TEST_P(FormReply, LowerCaseIsAccepted) {
  EXPECT_EQ(ReadText(kPlainCan, "<k><r><d>02aBcD</d></r></k>"), "ABCD");
}

TEST_P(FormReply, FirstChildOfTheFirstDataCounts) {
  EXPECT_EQ(ReadText(kPlainCan, "<k><r><d>0111<!-- --></d><d>0122</d></r></k>"), "11");
  EXPECT_EQ(ReadText(kPlainCan, "<k><r><d><![CDATA[0111]]></d></r></k>"), "11");
  EXPECT_ERROR(ReadText(kPlainCan, "<k><r><d><!--note-->0111</d></r></k>"), 13, "Type mismatch");
}

TEST_P(FormReply, SiblingsThatAreNoFramesAreSkipped) {
  EXPECT_EQ(ReadText(kPlainCan,
                     "<k><r><d>1008010203040506</d></r>\r\n<s><d>3001</d></s><!--r--><w>5</w>"
                     "<R><d>21FFFF</d></R><r><d>210708</d></r></k>"),
            "0102030405060708");
}

TEST_P(FormReply, NoFrameAtAllHasNoObject) {
  const auto document = Parse("<k><s/></k>");
  EXPECT_ERROR(ReadReply(FormOf(GetParam()), document->documentElement()->firstChild()), 91,
               kNotSet);
}

INSTANTIATE_TEST_SUITE_P(Forms, FormReply, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
