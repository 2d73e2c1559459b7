// SPDX-License-Identifier: MIT
#include "host/ecu/security_access.h"

#include <gmock/gmock.h>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

class SecurityAccessTest : public ::testing::Test {
 protected:
  std::string Ask(std::string_view request, Duration now = 0us) {
    return ReplyOf([&] { return security_.OnRequest(Hex(request), now); });
  }

  EcuOptions options_;
  SecurityAccess security_{options_};
};

TEST(SimulatedKey, RotatesTheSeedAndMixesIt) {
  EXPECT_EQ(HexOf(SimulatedKey(Hex("00000000"))), "51D4C7A3");
  EXPECT_EQ(HexOf(SimulatedKey(Hex("80000001"))), "51D4C793");
  EXPECT_EQ(HexOf(SimulatedKey(Hex("1A2B3C4D"))), "14B34E00");
}

TEST_F(SecurityAccessTest, OpensToTheRightKey) {
  EXPECT_EQ(Ask("2781"), "67811A2B3C4D");
  EXPECT_FALSE(security_.unlocked());
  EXPECT_EQ(Ask("278214B34E00"), "6782");
  EXPECT_TRUE(security_.unlocked());
}

TEST_F(SecurityAccessTest, GivesAnotherSeedEachTime) {
  EXPECT_EQ(Ask("2781"), "67811A2B3C4D");
  EXPECT_EQ(Ask("2781"), "6781AE2CB148");
}

TEST_F(SecurityAccessTest, GivesASeedOfZerosWhereItIsOpen) {
  Ask("2781");
  Ask("278214B34E00");
  EXPECT_EQ(Ask("2781"), "678100000000");
}

TEST_F(SecurityAccessTest, RefusesAKeyWithoutASeed) {
  EXPECT_EQ(Ask("278214B34E00"), "refused 22");
}

TEST_F(SecurityAccessTest, AWrongKeySpendsTheSeed) {
  Ask("2781");
  EXPECT_EQ(Ask("278200000000"), "refused 35");
  EXPECT_EQ(Ask("278214B34E00"), "refused 22");
}

TEST_F(SecurityAccessTest, ClosesForAWhileAfterTooManyWrongKeys) {
  for (const char* expected : {"refused 35", "refused 35", "refused 36"}) {
    Ask("2781");
    EXPECT_EQ(Ask("278200000000"), expected);
  }
  EXPECT_EQ(Ask("2781", 9s), "refused 37");
  EXPECT_EQ(Ask("2781", 10s).substr(0, 4), "6781");
  EXPECT_EQ(Ask("278200000000", 10s), "refused 35");
}

TEST_F(SecurityAccessTest, ForgetsTheSeedAndLocksButCountsOn) {
  Ask("2781");
  Ask("278200000000");
  Ask("2781");
  Ask("278200000000");
  Ask("2781");
  security_.Lock();
  EXPECT_EQ(Ask("278200000000"), "refused 22");
  Ask("2781");
  EXPECT_EQ(Ask("278200000000"), "refused 36");
}

TEST_F(SecurityAccessTest, RefusesWhatIsNoRequestOfIts) {
  EXPECT_EQ(Ask("27"), "refused 13");
  EXPECT_EQ(Ask("278100"), "refused 13");
  EXPECT_EQ(Ask("2783"), "refused 12");
  Ask("2781");
  EXPECT_EQ(Ask("2782112233"), "refused 13");
}

TEST(SecurityAccess, CanBeToldToRefuseEveryKey) {
  EcuOptions options;
  options.misbehaviour.refuses_key = true;
  SecurityAccess security(options);
  ReplyOf([&] { return security.OnRequest(Hex("2781"), 0us); });
  EXPECT_EQ(ReplyOf([&] { return security.OnRequest(Hex("278214B34E00"), 0us); }), "refused 35");
  EXPECT_FALSE(security.unlocked());
}

TEST(SecurityAccess, TakesTheKeyOfItsFunction) {
  EcuOptions options;
  options.key = [](const Bytes& seed) { return Bytes{seed[3], seed[2]}; };
  SecurityAccess security(options);
  ReplyOf([&] { return security.OnRequest(Hex("2781"), 0us); });
  EXPECT_EQ(ReplyOf([&] { return security.OnRequest(Hex("27824D3C"), 0us); }), "6782");
}

}  // namespace
}  // namespace quillmark::host
