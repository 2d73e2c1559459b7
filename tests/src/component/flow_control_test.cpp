// SPDX-License-Identifier: MIT
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

class FlowControlTest : public ComponentTest {
 protected:
  FlowControlTest() { Configure(kPlainCan); }

  /// The steps of a request of 2 + 18 bytes and its short reply.
  void Expect20ByteRequest(const std::vector<std::string>& steps) {
    EXPECT_EQ(XmlOf(*diag_->dounlock(String("030405060708090A0B0C0D0E0F1011121314"))),
              Document(kPlainCan, steps));
  }

  std::string FlowControlAfterFirstFrame(std::int32_t BS, std::int32_t STMin) {
    diag_->FlowControl(BS, STMin);
    return diag_->dounlock(String("030405060708"))->selectSingleNode("/can/x/r[0]/c")->text();
  }
};

TEST_F(FlowControlTest, IsExpectedAfterFirstFrameAndEveryBlock) {
  Expect20ByteRequest({Send("1014278203040506"), Receive("3001"), Send("210708090A0B0C0D"),
                       Receive("3001"), Send("220E0F1011121314"), Receive("026782")});
}

TEST_F(FlowControlTest, LargerBlockWaitsBetweenItsFrames) {
  diag_->FlowControl(2, 5);
  EXPECT_EQ(XmlOf(*diag_->dounlock(String("030405060708090A0B0C0D0E0F101112131415161718191A1B"
                                          "1C1D1E1F202122"))),
            Document(kPlainCan, {Send("1022278203040506"), Receive("300205"),
                                 Send("210708090A0B0C0D"), "<w>5</w>", Send("220E0F1011121314"),
                                 Receive("300205"), Send("2315161718191A1B"), "<w>5</w>",
                                 Send("241C1D1E1F202122"), Receive("026782"), "<w>5</w>"}));
}

TEST_F(FlowControlTest, BlockSizeOneHasNoWaitBetweenFrames) {
  diag_->FlowControl(1, 20);
  Expect20ByteRequest({Send("1014278203040506"), Receive("3001"), Send("210708090A0B0C0D"),
                       Receive("3001"), Send("220E0F1011121314"), Receive("026782"), "<w>20</w>"});
}

TEST_F(FlowControlTest, BlockSizeZeroExpectsNoFurtherFlowControl) {
  diag_->FlowControl(0, 0);
  Expect20ByteRequest({Send("1014278203040506"), Receive("300000"), Send("210708090A0B0C0D"),
                       Send("220E0F1011121314"), Receive("026782")});
}

TEST_F(FlowControlTest, BlockSizeZeroWaitsAfterEveryFullFrame) {
  diag_->FlowControl(0, 7);
  Expect20ByteRequest({Send("1014278203040506"), Receive("300007"), Send("210708090A0B0C0D"),
                       "<w>7</w>", Send("220E0F1011121314"), Receive("026782"), "<w>7</w>"});
}

// D5.
TEST_F(FlowControlTest, TextHasTheSeparationTimeUnlessTheBlockSizeIsOne) {
  EXPECT_EQ(FlowControlAfterFirstFrame(1, 0), "3001");
  EXPECT_EQ(FlowControlAfterFirstFrame(1, 20), "3001");
  EXPECT_EQ(FlowControlAfterFirstFrame(8, 20), "300814");
  EXPECT_EQ(FlowControlAfterFirstFrame(15, 0), "300F00");
  EXPECT_EQ(FlowControlAfterFirstFrame(16, 255), "3010FF");
}

TEST_F(FlowControlTest, RejectsValuesOutsideAByteSeparationTimeFirst) {
  EXPECT_ERROR(diag_->FlowControl(-1, -1), 4009, "Diag On CAN STmin can't be negative.");
  EXPECT_ERROR(diag_->FlowControl(256, 256), 4010, "Diag On CAN STmin can't exceed 255.");
  EXPECT_ERROR(diag_->FlowControl(-1, 0), 4011, "Diag On CAN BS can't be negative.");
  EXPECT_ERROR(diag_->FlowControl(256, 0), 4012, "Diag On CAN BS can't exceed 255.");
}

TEST_F(FlowControlTest, ErrorChangesNothing) {
  diag_->FlowControl(8, 20);
  EXPECT_ERROR(diag_->FlowControl(256, 5), 4012, "Diag On CAN BS can't exceed 255.");
  Expect20ByteRequest({Send("1014278203040506"), Receive("300814"), Send("210708090A0B0C0D"),
                       "<w>20</w>", Send("220E0F1011121314"), Receive("026782"), "<w>20</w>"});
}

using SeparationTime = EveryForm;

// D6.
TEST_P(SeparationTime, EndsEveryExpectedReply) {
  diag_->FlowControl(1, 20);
  const std::string text = XmlOf(*diag_->TesterPresent());
  EXPECT_EQ(text.substr(text.find("</r>")), "</r>\r\n<w>20</w>\r\n" + std::string(GetParam().tail));
}

TEST_P(SeparationTime, BeforeCANIDsCounts) {
  const auto diag = CreateDiagOnCANReprog(platform_);
  diag->FlowControl(1, 9);
  diag->CANIDs(GetParam().RCANId, GetParam().XCANId);
  EXPECT_NE(XmlOf(*diag->TesterPresent()).find("<w>9</w>"), std::string::npos);
}

TEST_P(SeparationTime, ZeroNeverWaits) {
  EXPECT_EQ(XmlOf(*diag_->writelogzone(String(""))).find("<w>"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Forms, SeparationTime, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
