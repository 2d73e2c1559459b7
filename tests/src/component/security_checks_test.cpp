// SPDX-License-Identifier: MIT
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

class SecurityChecks : public ComponentTest {
 protected:
  [[nodiscard]] std::string Seed(const Form& form, const std::vector<std::string>& frames) const {
    return diag_->getseed(Replies(form, frames))->Hex();
  }
  void Unlock(const Form& form, const std::vector<std::string>& frames) const {
    diag_->checkunlock(Replies(form, frames));
  }
};

struct PlainCanSecurity : SecurityChecks {
  PlainCanSecurity() { Configure(kPlainCan); }
};

TEST_F(PlainCanSecurity, SeedIsTheLastFourBytes) {
  const auto seed = diag_->getseed(Replies(kPlainCan, {"06678111223344AA"}));
  EXPECT_EQ(seed->Hex(), "11223344");
  EXPECT_EQ(seed->StartAddress(), 1);
}

// D3.
TEST_F(PlainCanSecurity, SeedIsReadBeforeCANIDs) {
  EXPECT_EQ(
      CreateDiagOnCANReprog(platform_)->getseed(Replies(kPlainCan, {"06678111223344AA"}))->Hex(),
      "11223344");
}

TEST_F(PlainCanSecurity, SeedOfWrongLengthIsIllegal) {
  EXPECT_ERROR(Seed(kPlainCan, {"056781112233"}), 2003, "SA#1 Illegal Reply : 6781112233");
  EXPECT_ERROR(Seed(kPlainCan, {"0767811122334455"}), 2003, "SA#1 Illegal Reply : 67811122334455");
}

TEST_F(PlainCanSecurity, SeedWithWrongHeaderIsIllegal) {
  EXPECT_ERROR(Seed(kPlainCan, {"06678211223344"}), 2003, "SA#1 Illegal Reply : 678211223344");
  EXPECT_ERROR(Seed(kPlainCan, {"06688111223344"}), 2003, "SA#1 Illegal Reply : 688111223344");
}

TEST_F(PlainCanSecurity, SeedMayBeRefused) {
  EXPECT_ERROR(Seed(kPlainCan, {"037F2735"}), 2037,
               "Requested Service : 27 Negative response code : 35");
}

// D21.
TEST_F(PlainCanSecurity, EveryNegativeResponseHasItsNumber) {
  const std::vector<std::pair<std::string, std::int32_t>> numbers = {
      {"10", 2044}, {"11", 2032}, {"12", 2034}, {"21", 2035}, {"22", 2033}, {"23", 2043},
      {"33", 2036}, {"35", 2037}, {"80", 2042}, {"87", 2038}, {"78", 2040}, {"36", 2040}};
  for (const auto& response : numbers) {
    const std::string& code = response.first;
    EXPECT_ERROR(Seed(kPlainCan, {"037F27" + code}), response.second,
                 "Requested Service : 27 Negative response code : " + code);
  }
}

TEST_F(PlainCanSecurity, NegativeResponseIsWrittenWithoutLeadingZeros) {
  EXPECT_ERROR(Seed(kPlainCan, {"037F0500"}), 2040,
               "Requested Service : 5 Negative response code : 0");
}

TEST_F(PlainCanSecurity, NegativeResponseCutShortIsIllegal) {
  EXPECT_ERROR(Seed(kPlainCan, {"027F10"}), 2041, "Illegal Negative Reply : 7F10");
  EXPECT_ERROR(Seed(kPlainCan, {"017F"}), 2041, "Illegal Negative Reply : 7F");
}

TEST_F(PlainCanSecurity, EmptyReplyIsNone) {
  EXPECT_ERROR(Seed(kPlainCan, {"-"}), 2000, "No reply");
  EXPECT_ERROR(Seed(kPlainCan, {}), 2000, "No reply");
  EXPECT_ERROR(Seed(kPlainCan, {"00"}), 2000, "No reply");
  EXPECT_ERROR(Unlock(kPlainCan, {"-"}), 2000, "No reply");
}

TEST_F(PlainCanSecurity, FrameThatBeginsNoMessageHasNoObject) {
  EXPECT_ERROR(Seed(kPlainCan, {"300100"}), 91, kNotSet);
  EXPECT_ERROR(Unlock(kPlainCan, {"21FF"}), 91, kNotSet);
}

TEST_F(PlainCanSecurity, MissingDocumentHasNoObject) {
  EXPECT_ERROR(diag_->getseed(nullptr), 91, kNotSet);
  EXPECT_ERROR(diag_->checkunlock(nullptr), 91, kNotSet);
}

// D14.
TEST_F(PlainCanSecurity, UnlockTakesAnyTwoBytes) {
  EXPECT_NO_THROW(Unlock(kPlainCan, {"0267820000000000"}));
  EXPECT_NO_THROW(Unlock(kPlainCan, {"021234"}));
}

TEST_F(PlainCanSecurity, UnlockOfOtherLengthIsIllegal) {
  EXPECT_ERROR(Unlock(kPlainCan, {"0167"}), 2003, "SA#2 Illegal Reply 67");
  EXPECT_ERROR(Unlock(kPlainCan, {"03678200"}), 2003, "SA#2 Illegal Reply 678200");
}

TEST_F(PlainCanSecurity, UnlockMayBeRefused) {
  EXPECT_ERROR(Unlock(kPlainCan, {"037F2736"}), 2040,
               "Requested Service : 27 Negative response code : 36");
}

TEST_F(PlainCanSecurity, UnlockReadsTheFirstReplyAlone) {
  EXPECT_NO_THROW(Unlock(kPlainCan, {"026782", "037F2735"}));
  EXPECT_ERROR(Unlock(kPlainCan, {"3001", "026782"}), 91, kNotSet);
}

struct GatewaySecurity : SecurityChecks {
  GatewaySecurity() { Configure(kGateway); }
  const std::string start_reply_ = "0183F16EC1EF8F21";
};

TEST_F(GatewaySecurity, SeedIsTheSecondReply) {
  EXPECT_EQ(Seed(kGateway, {start_reply_, "0286F16E67811122", "334477"}), "11223344");
}

TEST_F(GatewaySecurity, StartReplyHasThreeBytes) {
  EXPECT_ERROR(Seed(kGateway, {"0181F16EC1A1", "0286F16E67811122", "334477"}), 2000,
               "Reprog on CAN : init failed C1");
  EXPECT_ERROR(Seed(kGateway, {"-"}), 2000, "Reprog on CAN : init failed ");
}

TEST_F(GatewaySecurity, SeedMustBeRight) {
  EXPECT_ERROR(Seed(kGateway, {start_reply_, "-"}), 2000, "No reply");
  EXPECT_ERROR(Seed(kGateway, {start_reply_, "0183F16E7F2735BD"}), 2037,
               "Requested Service : 27 Negative response code : 35");
  EXPECT_ERROR(Seed(kGateway, {start_reply_, "0182F16E6781C9"}), 2003, "SA#1 Illegal Reply : 6781");
}

// D10.
TEST_F(GatewaySecurity, UnlockReadsTheSecondReply) {
  EXPECT_NO_THROW(Unlock(kGateway, {"81", "0182F16E6782CA"}));
  EXPECT_ERROR(Unlock(kGateway, {"81", "0183F16E7F2735BD"}), 2037,
               "Requested Service : 27 Negative response code : 35");
}

struct KLineSecurity : SecurityChecks {
  KLineSecurity() { Configure(kKLine); }
};

// D13.
TEST_F(KLineSecurity, SeedMayHaveAnyHeader) {
  EXPECT_EQ(Seed(kKLine, {"86F1116781112233441A"}), "11223344");
  EXPECT_EQ(Seed(kKLine, {"86F11100001122334432"}), "11223344");
}

TEST_F(KLineSecurity, SeedOfWrongLengthHasItsOwnNumber) {
  EXPECT_ERROR(Seed(kKLine, {"82F11167816C"}), 4001, "SA#1 error 6781");
  EXPECT_ERROR(Seed(kKLine, {"83F1117F273560"}), 4001, "SA#1 error 7F2735");
  EXPECT_ERROR(Seed(kKLine, {"-"}), 4001, "SA#1 error ");
  EXPECT_ERROR(Seed(kKLine, {}), 4001, "SA#1 error ");
}

TEST_F(KLineSecurity, UnlockReadsTheFirstReply) {
  EXPECT_NO_THROW(Unlock(kKLine, {"82F11167826D"}));
  EXPECT_ERROR(Unlock(kKLine, {"83F1117F273560"}), 2037,
               "Requested Service : 27 Negative response code : 35");
  EXPECT_ERROR(Unlock(kKLine, {"81F11167EA"}), 2003, "SA#2 Illegal Reply 67");
}

}  // namespace
}  // namespace quillmark::testing
