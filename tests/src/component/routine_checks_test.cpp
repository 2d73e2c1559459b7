// SPDX-License-Identifier: MIT
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

class RoutineChecks : public ComponentTest {
 protected:
  RoutineChecks() { Configure(kPlainCan); }

  [[nodiscard]] std::shared_ptr<DOMDocument> Reply(const std::string& frame) const {
    return Replies(kPlainCan, {frame});
  }
};

TEST_F(RoutineChecks, StartEraseTakesRunningAlone) {
  EXPECT_NO_THROW(diag_->checkstarterase(Reply("03718101")));
  EXPECT_ERROR(diag_->checkstarterase(Reply("03718102")), 4003, "Start erase error 718102");
  EXPECT_ERROR(diag_->checkstarterase(Reply("0471810100")), 4003, "Start erase error 71810100");
  EXPECT_ERROR(diag_->checkstarterase(Reply("037F3133")), 4003, "Start erase error 7F3133");
  EXPECT_ERROR(diag_->checkstarterase(Reply("-")), 4003, "Start erase error ");
}

// D19.
TEST_F(RoutineChecks, EraseIsRunningOrFinished) {
  EXPECT_FALSE(diag_->checkcheckerase(Reply("03718101")));
  EXPECT_TRUE(diag_->checkcheckerase(Reply("03718102")));
}

// D20.
TEST_F(RoutineChecks, EraseFailsWithAnyOtherReply) {
  EXPECT_ERROR(diag_->checkcheckerase(Reply("03718103")), 4004, "Erase error 718103");
  EXPECT_ERROR(diag_->checkcheckerase(Reply("037F3178")), 4004, "Erase error 7F3178");
  EXPECT_ERROR(diag_->checkcheckerase(Reply("0471810200")), 4004, "Erase error 71810200");
}

TEST_F(RoutineChecks, EraseWithoutReplyHasNoText) {
  EXPECT_ERROR(diag_->checkcheckerase(Reply("-")), 2000, kNoText);
}

TEST_F(RoutineChecks, StartRoutineTakesExactlyThreeBytes) {
  EXPECT_NO_THROW(diag_->checkstartroutine(Reply("03710501"), 5));
  EXPECT_ERROR(diag_->checkstartroutine(Reply("0471050101"), 5), 4006,
               "Start routine 5H error 71050101");
  EXPECT_ERROR(diag_->checkstartroutine(Reply("03700501"), 5), 4006,
               "Start routine 5H error 700501");
  EXPECT_ERROR(diag_->checkstartroutine(Reply("03710601"), 5), 4006,
               "Start routine 5H error 710601");
  EXPECT_ERROR(diag_->checkstartroutine(Reply("03710502"), 5), 4006,
               "Start routine 5H error 710502");
  EXPECT_ERROR(diag_->checkstartroutine(Reply("-"), 5), 4006, "Start routine 5H error ");
}

TEST_F(RoutineChecks, RoutineNumberIsHexWithoutLeadingZero) {
  EXPECT_ERROR(diag_->checkstartroutine(Reply("037F3112"), 0x0B), 4006,
               "Start routine BH error 7F3112");
  EXPECT_ERROR(diag_->checkstartroutine(Reply("037F3112"), 0x00), 4006,
               "Start routine 0H error 7F3112");
  EXPECT_ERROR(diag_->checkstartroutine(Reply("037F3112"), 0xFF), 4006,
               "Start routine FFH error 7F3112");
}

TEST_F(RoutineChecks, RoutineIsRunningOrFinished) {
  EXPECT_FALSE(diag_->checkroutine(Reply("03710501"), 5));
  EXPECT_TRUE(diag_->checkroutine(Reply("03710502"), 5));
}

// D15.
TEST_F(RoutineChecks, RoutineIgnoresBytesAfterTheStatus) {
  EXPECT_TRUE(diag_->checkroutine(Reply("0471050201"), 5));
}

TEST_F(RoutineChecks, RoutineFailsWithAnyOtherReply) {
  EXPECT_ERROR(diag_->checkroutine(Reply("03710503"), 5), 4006, "Start routine 5H error 710503");
  EXPECT_ERROR(diag_->checkroutine(Reply("03710602"), 5), 4006, "Start routine 5H error 710602");
  EXPECT_ERROR(diag_->checkroutine(Reply("037F3178"), 5), 4006, "Start routine 5H error 7F3178");
}

TEST_F(RoutineChecks, RoutineWithoutReplyHasNoText) {
  EXPECT_ERROR(diag_->checkroutine(Reply("-"), 5), 2000, kNoText);
}

TEST_F(RoutineChecks, RoutineReplyThatBeginsRightlyAndEndsIsOutOfRange) {
  EXPECT_ERROR(diag_->checkroutine(Reply("0171"), 5), 9, "Subscript out of range");
  EXPECT_ERROR(diag_->checkroutine(Reply("027105"), 5), 9, "Subscript out of range");
  EXPECT_ERROR(diag_->checkroutine(Reply("0170"), 5), 4006, "Start routine 5H error 70");
}

// D10.
TEST_F(ComponentTest, GatewayReadsTheStartOfTheEraseBehindTheAcknowledgement) {
  Configure(kGateway);
  EXPECT_NO_THROW(diag_->checkstarterase(Replies(kGateway, {"81", "0183F16E718101D5"})));
  EXPECT_TRUE(diag_->checkcheckerase(Replies(kGateway, {"0183F16E718102D6"})));
  EXPECT_FALSE(diag_->checkroutine(Replies(kGateway, {"0183F16E71050159"}), 5));
  EXPECT_NO_THROW(diag_->checkstartroutine(Replies(kGateway, {"0183F16E71050159"}), 5));
}

TEST_F(ComponentTest, KLineReadsTheFirstReply) {
  Configure(kKLine);
  EXPECT_NO_THROW(diag_->checkstarterase(Replies(kKLine, {"83F11171810178"})));
  EXPECT_TRUE(diag_->checkcheckerase(Replies(kKLine, {"83F11171810279"})));
  EXPECT_FALSE(diag_->checkroutine(Replies(kKLine, {"83F111710501FC"}), 5));
  EXPECT_NO_THROW(diag_->checkstartroutine(Replies(kKLine, {"83F111710501FC"}), 5));
}

using RoutineDocuments = EveryForm;

TEST_P(RoutineDocuments, ChecksNeedADocument) {
  EXPECT_ERROR(diag_->checkstarterase(nullptr), 91, kNotSet);
  EXPECT_ERROR(diag_->checkcheckerase(nullptr), 91, kNotSet);
  EXPECT_ERROR(diag_->checkstartroutine(nullptr, 0), 91, kNotSet);
  EXPECT_ERROR(diag_->checkroutine(nullptr, 0), 91, kNotSet);
}

INSTANTIATE_TEST_SUITE_P(Forms, RoutineDocuments, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
