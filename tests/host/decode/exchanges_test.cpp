// SPDX-License-Identifier: MIT
#include "host/decode/exchanges.h"

#include <gtest/gtest.h>

#include <sstream>

#include "quillmark/host/trace.h"

namespace quillmark::host::testing {
namespace {

class Exchanges : public ::testing::Test {
 protected:
  std::vector<DecodedExchange> Of(const std::string& lines) {
    std::istringstream file("# quillmark K line trace 1\n" + lines);
    decoding_ = Decode(ReadTrace(file));
    return ExchangesOf(decoding_);
  }

  Decoding decoding_;
};

constexpr const char* kAskSeed = "1.0 > 82 11 F1 27 81 2C\n";
constexpr const char* kSeed = "1.1 < 84 F1 11 67 81 01 02 71\n";
constexpr const char* kRefused = "1.1 < 83 F1 11 7F 27 33 5E\n";
constexpr const char* kPending = "1.1 < 83 F1 11 7F 27 78 A3\n";

TEST_F(Exchanges, JoinARequestAndItsAnswer) {
  const auto exchanges = Of(std::string(kAskSeed) + kSeed);
  ASSERT_EQ(exchanges.size(), 1U);
  EXPECT_EQ(exchanges[0].messages, 2U);
  EXPECT_EQ(exchanges[0].outcome, ExchangeOutcome::kAnswered);
  EXPECT_EQ(AnswerOf(decoding_, exchanges[0]), &decoding_.messages[1]);
}

TEST_F(Exchanges, KnowRefusalsFromSilence) {
  const auto exchanges = Of(std::string(kAskSeed) + kRefused + kAskSeed);
  ASSERT_EQ(exchanges.size(), 2U);
  EXPECT_EQ(exchanges[0].outcome, ExchangeOutcome::kRefused);
  EXPECT_EQ(exchanges[1].outcome, ExchangeOutcome::kSilent);
  EXPECT_EQ(AnswerOf(decoding_, exchanges[1]), nullptr);
}

TEST_F(Exchanges, CountResponsePending) {
  const auto exchanges = Of(std::string(kAskSeed) + kPending + kPending + kSeed);
  ASSERT_EQ(exchanges.size(), 1U);
  EXPECT_EQ(exchanges[0].pending, 2U);
  EXPECT_EQ(exchanges[0].outcome, ExchangeOutcome::kAnswered);
  EXPECT_EQ(Of(std::string(kAskSeed) + kPending)[0].outcome, ExchangeOutcome::kSilent);
}

TEST_F(Exchanges, NoticeARequestThatIsAskedAgain) {
  const auto exchanges = Of(std::string(kAskSeed) + kRefused + kAskSeed + kSeed);
  EXPECT_FALSE(exchanges[0].is_repeat);
  EXPECT_TRUE(exchanges[1].is_repeat);
}

TEST_F(Exchanges, TakeADamagedAnswerForNone) {
  EXPECT_EQ(Of(std::string(kAskSeed) + "1.1 < 84 F1 11 67 81 01 02 70\n")[0].outcome,
            ExchangeOutcome::kBroken);
}

}  // namespace
}  // namespace quillmark::host::testing
