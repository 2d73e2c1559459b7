// SPDX-License-Identifier: MIT
#include "host/programmer/failure.h"

#include <gmock/gmock.h>

namespace quillmark::host {
namespace {

RunOutcome OutcomeOf(RunStatus status, const std::string& reason) {
  RunOutcome outcome;
  outcome.status = status;
  outcome.step = 2;
  outcome.reason = reason;
  return outcome;
}

std::string MessageOf(Phase phase, const RunOutcome& outcome, const std::optional<Error>& error) {
  return ProgrammingError(ExchangeFailure(phase, outcome, error)).what();
}

TEST(ExchangeFailure, OfSilenceSaysWhatWasExpected) {
  const RunOutcome outcome = OutcomeOf(RunStatus::kSilence, "no frame within 1000 ms");
  EXPECT_EQ(MessageOf(Phase::kErase, outcome, Error(2000)),
            "erase: the ECU does not answer (no frame within 1000 ms) (error 2000)");
  EXPECT_EQ(ExchangeFailure(Phase::kErase, outcome, std::nullopt).cause, Cause::kSilence);
}

TEST(ExchangeFailure, OfTheBusAndOfABusyEcuGiveTheReason) {
  EXPECT_EQ(MessageOf(Phase::kUnlock, OutcomeOf(RunStatus::kBusError, "unplugged"), std::nullopt),
            "unlock: the bus failed (unplugged)");
  EXPECT_EQ(MessageOf(Phase::kUnlock, OutcomeOf(RunStatus::kPendingTooLong, "received 037F2778"),
                      std::nullopt),
            "unlock: the ECU stays busy (received 037F2778)");
}

TEST(ExchangeFailure, OfACancellationHasNoNumber) {
  EXPECT_EQ(MessageOf(Phase::kCheck, OutcomeOf(RunStatus::kStopped, "stopped"), Error(4005)),
            "check: cancelled");
}

TEST(ExchangeFailure, OfACheckHasItsNumberAndText) {
  const RunOutcome complete;
  EXPECT_EQ(MessageOf(Phase::kUpload, complete, Error(2003, "Checksum error 00")),
            "upload: Checksum error 00 (error 2003)");
}

TEST(ExchangeFailure, WithoutACheckGivesTheReason) {
  EXPECT_EQ(MessageOf(Phase::kClose,
                      OutcomeOf(RunStatus::kUnexpectedFrame, "received 00, expected 025081"),
                      std::nullopt),
            "close: received 00, expected 025081");
}

TEST(ExchangeFailure, ExplainsANegativeResponse) {
  RunOutcome outcome = OutcomeOf(RunStatus::kUnexpectedFrame, "received 037F3133");
  outcome.response_code = 0x33;
  EXPECT_EQ(MessageOf(Phase::kErase, outcome, std::nullopt),
            "erase: received 037F3133; negative response 33, security access denied");
  outcome.response_code = 0xFB;
  EXPECT_EQ(MessageOf(Phase::kErase, outcome, std::nullopt),
            "erase: received 037F3133; negative response FB");
}

std::optional<std::uint32_t> AddressOfRequest(const char* request) {
  RunOutcome outcome = OutcomeOf(RunStatus::kSilence, "");
  outcome.request = BytesOfHex(request).value();
  return ExchangeFailure(Phase::kDownload, outcome, std::nullopt).address;
}

TEST(ExchangeFailure, NamesTheAddressOfADownloadAndAnUpload) {
  EXPECT_EQ(AddressOfRequest("340012345601"), 0x123456U);
  EXPECT_EQ(AddressOfRequest("358012345630"), 0x123456U);
  EXPECT_EQ(AddressOfRequest("348300000030"), std::nullopt) << "the log zone";
  EXPECT_EQ(AddressOfRequest("318100F05A"), std::nullopt);
  EXPECT_EQ(AddressOfRequest("34001234"), std::nullopt) << "not sent so far";
}

TEST(Phase, HasAName) {
  EXPECT_EQ(NameOf(Phase::kPrepare), "prepare");
  EXPECT_EQ(NameOf(Phase::kIdentify), "identify");
  EXPECT_EQ(NameOf(Phase::kUnlock), "unlock");
  EXPECT_EQ(NameOf(Phase::kBackup), "backup");
  EXPECT_EQ(NameOf(Phase::kErase), "erase");
  EXPECT_EQ(NameOf(Phase::kDownload), "download");
  EXPECT_EQ(NameOf(Phase::kCheck), "check");
  EXPECT_EQ(NameOf(Phase::kUpload), "upload");
  EXPECT_EQ(NameOf(Phase::kVerify), "verify");
  EXPECT_EQ(NameOf(Phase::kLogZone), "log zone");
  EXPECT_EQ(NameOf(Phase::kClose), "close");
}

}  // namespace
}  // namespace quillmark::host
