// SPDX-License-Identifier: MIT
#include "host/runner/reply_reader.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace quillmark::host {
namespace {

using enum TransportForm;
using ::testing::ElementsAre;

std::string NameOf(FrameRole role) {
  switch (role) {
    case FrameRole::kExpected:
      return "expected";
    case FrameRole::kAnswer:
      return "answer";
    case FrameRole::kPending:
      return "pending";
    case FrameRole::kWait:
      return "wait";
    case FrameRole::kOverflow:
      return "overflow";
    case FrameRole::kFlowControl:
      return "flow control";
    case FrameRole::kEarlyRefusal:
      return "early refusal";
    case FrameRole::kDamaged:
      return "damaged";
    case FrameRole::kSuspect:
      return "suspect";
    default:
      return "foreign";
  }
}

struct Arrival {
  const char* expected;
  const char* frame;
};

/// The roles of frames that arrive after others were sent.
std::vector<std::string> Roles(TransportForm form, const std::vector<const char*>& sent,
                               const std::vector<Arrival>& arrivals) {
  RequestReader requests(form);
  for (const char* frame : sent) {
    requests.OnSent(BytesOfHex(frame).value());
  }
  ReplyReader reply(form, requests);
  std::vector<std::string> roles;
  for (const Arrival& arrival : arrivals) {
    roles.push_back(
        NameOf(reply.Take(BytesOfHex(arrival.frame).value(), arrival.frame, arrival.expected)));
  }
  return roles;
}

/// The role of one frame.
std::string Role(TransportForm form, const char* sent, Arrival arrival) {
  return Roles(form, {sent}, {arrival}).front();
}

TEST(ReplyReader, TellsAnswersFromForeignFramesOnCan) {
  const char* const kPoll = "0331810100000000";
  const char* const kFinished = "03718102";
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "03718102AAAAAAAA"}), "expected");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "03718101AAAAAAAA"}), "answer");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "037F3122AAAAAAAA"}), "answer");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "1010718101020304"}), "answer");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "037F3178AAAAAAAA"}), "pending");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "037F3422AAAAAAAA"}), "foreign");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "037F3478AAAAAAAA"}), "foreign");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "017EAAAAAAAAAAAA"}), "foreign");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, kPoll}), "foreign") << "an echo";
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "2101020304050607"}), "foreign");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, "300100AAAAAAAAAA"}), "foreign");
  EXPECT_EQ(Role(kPlainCan, kPoll, {kFinished, ""}), "foreign");
}

TEST(ReplyReader, SuspectsFramesThatAreNoneOnCan) {
  const char* const kPoll = "0331810100000000";
  for (const char* frame :
       {"00", "037181", "0F718102AAAAAAAA", "10", "101071", "1007718102AAAAAA"}) {
    EXPECT_EQ(Role(kPlainCan, kPoll, {"03718102", frame}), "suspect") << frame;
  }
}

TEST(ReplyReader, JoinsAnAnswerOfSeveralFrames) {
  const char* const kRecord = "0221800000000000";
  EXPECT_THAT(
      Roles(kPlainCan, {kRecord},
            {{"10106180", "1010618001020304"},
             {"21", "1010618001020304"},
             {"21", "300100AAAAAAAAAA"},
             {"21", "2105060708090A0B"},
             {"22", "2105060708090A0B"},
             {"22", "220C0D0EAA"},
             {"23", "23AAAAAAAAAAAAAA"}}),
      ElementsAre("expected", "foreign", "foreign", "expected", "foreign", "expected", "foreign"));
}

TEST(ReplyReader, FindsADamagedAnswerOfSeveralFrames) {
  const char* const kRecord = "0221800000000000";
  const Arrival first{"10106180", "1010618001020304"};
  EXPECT_THAT(Roles(kPlainCan, {kRecord}, {first, {"21", "2205060708090A0B"}}),
              ElementsAre("expected", "damaged"));
  EXPECT_THAT(Roles(kPlainCan, {kRecord}, {first, {"21", "210506070809"}}),
              ElementsAre("expected", "damaged"));
  EXPECT_THAT(Roles(kPlainCan, {kRecord}, {first, {"21", "1010618005060708"}}),
              ElementsAre("expected", "damaged"));
  EXPECT_THAT(Roles(kPlainCan, {kRecord}, {first, {"21", "037F2122AAAAAAAA"}}),
              ElementsAre("expected", "answer"));
}

TEST(ReplyReader, KnowsTheFlowControlsThatARequestMeets) {
  const char* const kFirst = "1009340000100001";
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "300114AAAAAAAAAA"}), "expected");
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "300800AAAAAAAAAA"}), "flow control");
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "310000AAAAAAAAAA"}), "wait");
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "320000AAAAAAAAAA"}), "overflow");
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "330000AAAAAAAAAA"}), "suspect");
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "3008"}), "suspect");
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "027402AAAAAAAAAA"}), "foreign")
      << "an answer to the block before";
  EXPECT_EQ(Role(kPlainCan, kFirst, {"3001", "037F3477AAAAAAAA"}), "early refusal");
}

TEST(ReplyReader, TellsAnswersFromForeignMessagesOnAKLine) {
  const char* const kPoll = "8311F1318101B8";
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "83F11171810279"}), "expected");
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "83F11171810178"}), "answer");
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "83F1117F317835"}), "damaged") << "checksum";
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "83F1117F3178AD"}), "pending");
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "81F1117E01"}), "foreign");
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "83F1127181027A"}), "foreign") << "another ECU";
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "83F111718102"}), "damaged") << "cut off";
  EXPECT_EQ(Role(kKLine, kPoll, {"83F111718102", "8083F11171810279"}), "damaged") << "noise";
}

TEST(ReplyReader, TellsAnswersFromForeignFramesOfAGateway) {
  const char* const kPoll = "01836EF131810115";
  EXPECT_EQ(Role(kGateway, kPoll, {"0183F16E718102", "0183F16E718102D6"}), "expected");
  EXPECT_EQ(Role(kGateway, kPoll, {"0183F16E718102", "0183F16E718101D5"}), "answer");
  EXPECT_EQ(Role(kGateway, kPoll, {"0183F16E718102", "0183F16E7F31780A"}), "pending");
  EXPECT_EQ(Role(kGateway, kPoll, {"0183F16E718102", "81"}), "foreign");
  EXPECT_EQ(Role(kGateway, kPoll, {"0183F16E718102", "0183F16E718102D7"}), "suspect");
  EXPECT_EQ(Role(kGateway, kPoll, {"0183F16E718102", "0183F16E7181"}), "suspect");
  EXPECT_EQ(Role(kGateway, kPoll, {"0183F16E718102", "0283F16E718102D6"}), "suspect");
  EXPECT_EQ(Role(kGateway, "02856EF1318100F0", {"81", "81"}), "expected");
  EXPECT_EQ(Role(kGateway, "02856EF1318100F0", {"81", "0183F16E7F312225"}), "early refusal");
}

TEST(ReplyReader, FindsADamagedAnswerOfAGateway) {
  const char* const kSeed = "01826EF127810A";
  const char* const kBegun = "0286F16E67811A2B";
  // 86 + F1 + 6E + 67 + 81 + 1A + 2B + 3C + 4D = 39B.
  EXPECT_THAT(Roles(kGateway, {kSeed}, {{"0286F16E6781", kBegun}, {"", "3C4D9B"}}),
              ElementsAre("expected", "expected"));
  EXPECT_THAT(Roles(kGateway, {kSeed}, {{"0286F16E6781", kBegun}, {"", "81"}, {"", "3C4D9B"}}),
              ElementsAre("expected", "foreign", "expected"));
  EXPECT_THAT(Roles(kGateway, {kSeed}, {{"0286F16E6781", kBegun}, {"", "3C4D9C"}}),
              ElementsAre("expected", "damaged"));
  EXPECT_THAT(Roles(kGateway, {kSeed}, {{"0286F16E6781", kBegun}, {"", "3C4D"}}),
              ElementsAre("expected", "damaged"));
}

}  // namespace
}  // namespace quillmark::host
