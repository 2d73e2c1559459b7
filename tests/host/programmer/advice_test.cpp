// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "quillmark/host/programmer.h"
#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

Failure FailureIn(Phase phase, Cause cause, EcuMemory memory) {
  Failure failure;
  failure.phase = phase;
  failure.cause = cause;
  failure.memory = memory;
  return failure;
}

TEST(StepText, NamesThePhaseAndWhatIsKnownOfTheRequest) {
  Failure failure = FailureIn(Phase::kDownload, Cause::kSilence, EcuMemory::kPartlyWritten);
  EXPECT_EQ(StepText(failure), "download");
  failure.service = 0x34;
  failure.document_step = 52;
  EXPECT_EQ(StepText(failure), "download, service 34, step 52 of the document");
}

TEST(EcuStateText, SaysWhatBecameOfMemoryAndSession) {
  Failure failure = FailureIn(Phase::kErase, Cause::kSilence, EcuMemory::kPerhapsErased);
  failure.session_open = true;
  EXPECT_EQ(EcuStateText(failure),
            "perhaps erased: the erase was begun and its end was not seen; its session may still "
            "be open and ends by itself");
  failure = FailureIn(Phase::kVerify, Cause::kDifference, EcuMemory::kChecked);
  EXPECT_EQ(EcuStateText(failure),
            "written, and its check routine is content, but it is not what the image says; no "
            "session is open");
}

TEST(AdviceText, NeverSendsAnyoneToRetryAKeyBlindly) {
  for (const int code : {0x35, 0x36, 0x37}) {
    Failure failure = FailureIn(Phase::kUnlock, Cause::kUnexpectedReply, EcuMemory::kUntouched);
    failure.response_code = static_cast<std::uint8_t>(code);
    EXPECT_THAT(AdviceText(failure), ::testing::Not(HasSubstr("try again")));
    EXPECT_THAT(AdviceText(failure), HasSubstr("right key"));
  }
}

TEST(AdviceText, DependsOnCauseAndMemory) {
  EXPECT_EQ(AdviceText(FailureIn(Phase::kIdentify, Cause::kBus, EcuMemory::kUntouched)),
            "look at the adapter and its cable, plug it in again; then try again");
  EXPECT_THAT(AdviceText(FailureIn(Phase::kDownload, Cause::kCancelled, EcuMemory::kPartlyWritten)),
              StartsWith("keep the ECU powered and flash the whole image again"));
  EXPECT_THAT(AdviceText(FailureIn(Phase::kClose, Cause::kSilence, EcuMemory::kChecked)),
              HasSubstr("the program is complete"));
}

TEST(AdviceText, NamesTheFileThatHoldsWhatWasThereBefore) {
  for (const EcuMemory memory :
       {EcuMemory::kUntouched, EcuMemory::kPerhapsErased, EcuMemory::kPartlyWritten,
        EcuMemory::kWritten, EcuMemory::kChecked}) {
    Failure failure = FailureIn(Phase::kDownload, Cause::kSilence, memory);
    EXPECT_THAT(AdviceText(failure), ::testing::Not(HasSubstr("before")));
    failure.backup = "old.hex";
    EXPECT_THAT(AdviceText(failure),
                ::testing::EndsWith("; what the memory held before is in old.hex: keep that file, "
                                    "and flash again without a backup"));
  }
}

/// The state that a refused service leaves behind.
EcuMemory MemoryAfterRefusing(std::uint8_t service) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.options.misbehaviour.refused[service] = 0x22;
  workshop.AddSegment(0x1000, Pattern(10));
  workshop.Open();
  return workshop.FailureOfProgram(true)->memory;
}

TEST(FailureState, FollowsTheSession) {
  EXPECT_EQ(MemoryAfterRefusing(0x27), EcuMemory::kUntouched);
  EXPECT_EQ(MemoryAfterRefusing(0x31), EcuMemory::kUntouched) << "the erase was refused";
  EXPECT_EQ(MemoryAfterRefusing(0x34), EcuMemory::kPartlyWritten);
  EXPECT_EQ(MemoryAfterRefusing(0x35), EcuMemory::kChecked);
}

TEST(FailureState, OfAnEraseThatIsNotAnsweredIsOpen) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(10));
  workshop.Open();
  bool silent = false;
  workshop.bus->InjectFaults([&](const FrameOnWire& frame) {
    silent = silent || HexOf(frame.data).starts_with("037181");
    return silent ? std::vector<FrameOnWire>{} : std::vector{frame};
  });
  const auto failure = workshop.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->memory, EcuMemory::kPerhapsErased);
  EXPECT_TRUE(failure->session_open);
}

}  // namespace
}  // namespace quillmark::host
