// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <map>
#include <stdexcept>
#include <string>

#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

/// One body for all transport forms.
class FailureInEveryForm : public ::testing::TestWithParam<TransportForm> {
 protected:
  FailureInEveryForm() { workshop_.AddSegment(0x1000, Pattern(300)); }
  ~FailureInEveryForm() override { workshop_.platform->WaitForWorkers(); }

  Failure FailureOfProgram() {
    workshop_.Open();
    const auto failure = workshop_.FailureOfProgram();
    EXPECT_TRUE(failure) << "a false success";
    return failure.value_or(Failure{});
  }

  Workshop workshop_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Programmer, FailureInEveryForm,
                         ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine),
                         [](const auto& form) { return NameOfForm(form.param); });

TEST_P(FailureInEveryForm, OfASilentEcuIsReportedAsSilence) {
  workshop_.options.misbehaviour.silent = true;
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kIdentify);
  EXPECT_EQ(failure.cause, Cause::kSilence);
  EXPECT_EQ(failure.number, 4000);
  EXPECT_EQ(failure.text.find("the ECU does not answer (no frame within 1000 ms, expected "), 0U);
}

TEST_P(FailureInEveryForm, OfARefusedKeyNamesTheCode) {
  workshop_.options.misbehaviour.refuses_key = true;
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kUnlock);
  EXPECT_EQ(failure.cause, Cause::kUnexpectedReply);
  EXPECT_EQ(failure.number, 2037);
  EXPECT_EQ(failure.response_code, 0x35);
  EXPECT_EQ(workshop_.message,
            "unlock: Requested Service : 27 Negative response code : 35; negative response 35, "
            "invalid key (error 2037)");
  EXPECT_EQ(workshop_.ecu->ReadMemory(0x1000, 1), Bytes{0x5A}) << "untouched";
}

TEST_P(FailureInEveryForm, OfTooManyKeysNamesTheCode) {
  workshop_.options.misbehaviour.refuses_key = true;
  workshop_.options.key_attempts = 1;
  EXPECT_EQ(FailureOfProgram().response_code, 0x36);
  EXPECT_EQ(workshop_.FailureOfProgram()->response_code, 0x37) << "the delay has not expired";
}

TEST_P(FailureInEveryForm, OfTheKeyFunctionIsItsOwn) {
  workshop_.config.key = [](const Bytes&) -> Bytes { throw std::runtime_error("no such seed"); };
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kUnlock);
  EXPECT_EQ(failure.cause, Cause::kKey);
  EXPECT_EQ(failure.text, "no key for the seed: no such seed");
  EXPECT_FALSE(workshop_.ecu->InSession(workshop_.bus->Now()));
}

TEST_P(FailureInEveryForm, OfAMissingKeyFunctionIsSaid) {
  workshop_.config.key = {};
  EXPECT_EQ(FailureOfProgram().text, "there is no key function");
}

TEST_P(FailureInEveryForm, OfAKeyThatCannotBeSentIsSaid) {
  workshop_.config.key = [](const Bytes&) { return Bytes(254); };
  EXPECT_EQ(FailureOfProgram().text, "a key of 254 bytes cannot be sent");
}

TEST_P(FailureInEveryForm, OfAKeyOneByteLongerThanItsReplyAllowsIsSaid) {
  const std::map<TransportForm, std::size_t> too_long = {
      {TransportForm::kPlainCan, 6}, {TransportForm::kGateway, 10}, {TransportForm::kKLine, 254}};
  const std::size_t size = too_long.at(GetParam());
  workshop_.config.key = [size](const Bytes&) { return Bytes(size); };
  EXPECT_EQ(FailureOfProgram().text, "a key of " + std::to_string(size) + " bytes cannot be sent");
}

TEST_P(FailureInEveryForm, OfABlockNamesItsAddress) {
  workshop_.config.repetition.most = 0;
  workshop_.options.misbehaviour.bad_checksum_at_block = 2;
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kDownload);
  EXPECT_EQ(failure.cause, Cause::kUnexpectedReply);
  EXPECT_EQ(failure.number, 4005);
  EXPECT_EQ(failure.address, 0x1080U);
  EXPECT_EQ(failure.response_code, 0x77);
  EXPECT_EQ(workshop_.message.find("download at 0x001080: Download error "), 0U);
  EXPECT_NE(workshop_.message.find("negative response 77, block checksum error (error 4005)"),
            std::string::npos);
  EXPECT_FALSE(workshop_.ecu->InSession(workshop_.bus->Now()));
}

TEST_P(FailureInEveryForm, OfACellIsFoundByTheCheckRoutine) {
  workshop_.options.misbehaviour.bad_cells = {0x1042};
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kCheck);
  EXPECT_EQ(failure.number, 4006);
  EXPECT_EQ(failure.text,
            "Start routine 2H error 710203; received 710203 (start routine by local identifier, "
            "positive: routine 02 failed (03)), expected 710202 (start routine by local "
            "identifier, positive: routine 02 finished)");
}

TEST_P(FailureInEveryForm, OfACellIsFoundByVerification) {
  workshop_.options.misbehaviour.bad_cells = {0x1042, 0x1050};
  FailureOfProgram();
  const auto failure = workshop_.FailureOf([&] { workshop_.programmer->Verify(workshop_.image); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kVerify);
  EXPECT_EQ(failure->cause, Cause::kDifference);
  EXPECT_EQ(failure->address, 0x1042U);
  EXPECT_EQ(failure->different_bytes, 2U);
  EXPECT_THAT(failure->differences, ::testing::ElementsAre(Difference{0x1042, 0x43, 0xFF},
                                                           Difference{0x1050, 0x51, 0xFF}));
  EXPECT_EQ(workshop_.message,
            "verify at 0x001042: 2 bytes differ from the image; here the ECU holds FF, not 43");
}

TEST_P(FailureInEveryForm, OfACellThatABlindCheckPassesIsFoundByVerificationAlone) {
  workshop_.options.misbehaviour.bad_cells = {0x1042};
  workshop_.options.misbehaviour.blind_check = true;
  workshop_.Open();
  EXPECT_FALSE(workshop_.FailureOfProgram(false));
  const auto failure = workshop_.FailureOfProgram(true);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kVerify);
  EXPECT_EQ(failure->cause, Cause::kDifference);
  EXPECT_EQ(failure->address, 0x1042U);
}

TEST_P(FailureInEveryForm, OfFillThatIsNoErasedMemoryIsFoundByVerificationAlone) {
  workshop_.AddSegment(0x2000, Bytes(64, 0x00));
  workshop_.config.fill_byte = 0x00;
  workshop_.Open();
  EXPECT_FALSE(workshop_.FailureOfProgram(false));
  const auto failure = workshop_.FailureOfProgram(true);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->cause, Cause::kDifference);
  EXPECT_EQ(failure->address, 0x2000U);
  EXPECT_EQ(failure->different_bytes, 64U);
  EXPECT_EQ(failure->differences.size(), 16U);
}

TEST_P(FailureInEveryForm, OfAnEraseThatDoesNotEndIsBounded) {
  workshop_.options.timing.erase_time = 1h;
  workshop_.config.busy_limit = 3000ms;
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kErase);
  EXPECT_EQ(failure.cause, Cause::kStillBusy);
  EXPECT_EQ(failure.text, "the ECU is still busy after 3000 ms");
}

TEST_P(FailureInEveryForm, OfAPollComesRightAfterItsLimit) {
  workshop_.options.timing.erase_time = 1h;
  workshop_.config.busy_limit = 3000ms;
  workshop_.Open();
  Duration began{};
  workshop_.programmer->OnProgress([&](const Progress& progress) {
    if (progress.phase == Phase::kErase && began == Duration::zero()) {
      began = workshop_.bus->Now();
    }
  });
  ASSERT_TRUE(workshop_.FailureOfProgram());
  EXPECT_GE(workshop_.bus->Now() - began, 3000ms);
  EXPECT_LT(workshop_.bus->Now() - began, 3500ms);
}

TEST_P(FailureInEveryForm, OfACheckRoutineThatDoesNotEndIsBounded) {
  workshop_.options.timing.check_time = 1h;
  workshop_.config.busy_limit = 3000ms;
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kCheck);
  EXPECT_EQ(failure.cause, Cause::kStillBusy);
}

/// Whether the answer to a poll of the erase or the check routine is on the wire.
bool AnswersAPoll(const FrameOnWire& frame) {
  return frame.direction == Direction::kToTester &&
         (HexOf(frame.data).find("7181") != std::string::npos ||
          HexOf(frame.data).find("7102") != std::string::npos);
}

TEST_P(FailureInEveryForm, InAPollLeavesAnEcuThatIsFlashedAgain) {
  for (int lost = 0; lost < 6; ++lost) {
    Workshop workshop(GetParam());
    workshop.AddSegment(0x1000, Pattern(300));
    workshop.config.repetition.most = 0;
    workshop.Open();
    int answers = 0;
    workshop.bus->InjectFaults([&](const FrameOnWire& frame) {
      return AnswersAPoll(frame) && answers++ == lost ? std::vector<FrameOnWire>{}
                                                      : std::vector{frame};
    });
    EXPECT_TRUE(workshop.FailureOfProgram()) << lost;
    workshop.bus->InjectFaults({});
    EXPECT_FALSE(workshop.FailureOfProgram()) << lost << ": " << workshop.message;
    workshop.platform->WaitForWorkers();
  }
}

TEST_P(FailureInEveryForm, OfAnEcuThatSaysPendingForEverIsBounded) {
  workshop_.options.misbehaviour.pending[0x31] = 10'000;
  const Failure failure = FailureOfProgram();
  EXPECT_EQ(failure.phase, Phase::kErase);
  EXPECT_EQ(failure.cause, Cause::kStillBusy);
  EXPECT_EQ(failure.response_code, 0x78);
}

TEST_P(FailureInEveryForm, OfTheBusIsItsOwn) {
  workshop_.Open();
  int frames = 0;
  workshop_.bus->InjectFaults([&](const FrameOnWire& frame) {
    if (++frames == 40) {
      throw BusError("the adapter is gone");
    }
    return std::vector{frame};
  });
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->cause, Cause::kBus);
  EXPECT_EQ(failure->text, "the bus failed (the adapter is gone)");
}

/// An adapter that is gone when the host pauses for `fatal`.
class BusThatFailsInAPause : public Bus {
 public:
  BusThatFailsInAPause(SimulatedBus& bus, std::chrono::milliseconds fatal)
      : bus_(bus), fatal_(fatal) {}

  void Select(const Exchange& exchange) override { bus_.Select(exchange); }
  void Send(ByteView frame) override { bus_.Send(frame); }
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    return bus_.Receive(timeout);
  }
  void Wait(std::chrono::milliseconds time) override {
    if (time == fatal_) {
      throw BusError("the adapter is gone");
    }
    bus_.Wait(time);
  }
  void Break(std::chrono::milliseconds low) override { bus_.Break(low); }
  [[nodiscard]] Duration Now() const override { return bus_.Now(); }

 private:
  SimulatedBus& bus_;
  std::chrono::milliseconds fatal_;
};

TEST_P(FailureInEveryForm, OfTheBusBetweenTwoPollsIsItsOwn) {
  workshop_.options.timing.erase_time = 1s;
  workshop_.config.poll_interval = 777ms;
  workshop_.Open();
  BusThatFailsInAPause bus(*workshop_.bus, workshop_.config.poll_interval);
  Programmer programmer(workshop_.platform, bus, workshop_.config);
  const auto failure = workshop_.FailureOf([&] { programmer.Program(workshop_.image, {}); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kErase);
  EXPECT_EQ(failure->cause, Cause::kBus);
  EXPECT_EQ(failure->text, "the bus failed (the adapter is gone)");
  EXPECT_EQ(failure->memory, EcuMemory::kPerhapsErased);
}

TEST(ProgrammerFailure, OfAnEcuThatFallsSilentAmongTheOptionalRecordsIsReported) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.Open();
  bool silent = false;
  workshop.bus->InjectFaults([&](const FrameOnWire& frame) {
    silent = silent || HexOf(frame.data).starts_with("101A61FC");
    return silent ? std::vector<FrameOnWire>{} : std::vector{frame};
  });
  const auto failure =
      workshop.FailureOf([&] { static_cast<void>(workshop.programmer->Identify()); });
  ASSERT_TRUE(failure) << "the component's check alone would find two entries and be content";
  EXPECT_EQ(failure->phase, Phase::kIdentify);
  EXPECT_EQ(failure->cause, Cause::kSilence);
  EXPECT_EQ(failure->number, 0);
}

TEST(ProgrammerFailure, OfAnEcuThatOnlySaysItIsOpenComesWithTheErase) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(10));
  workshop.config.key = [](const Bytes&) -> Bytes { throw std::runtime_error("not asked for"); };
  workshop.Open();
  workshop.bus->InjectFaults([](FrameOnWire frame) {
    if (HexOf(frame.data) == "0667811A2B3C4DAA") {
      frame.data = BytesOfHex("06678100000000AA").value();
    }
    return std::vector{frame};
  });
  const auto failure = workshop.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kErase) << "a seed of zeros asks for no key";
  EXPECT_EQ(failure->response_code, 0x33);
}

struct RefusedService {
  std::uint8_t service;
  Phase phase;
};

class RefusedServiceTest : public ::testing::TestWithParam<RefusedService> {};

INSTANTIATE_TEST_SUITE_P(
    Programmer, RefusedServiceTest,
    ::testing::Values(RefusedService{0x10, Phase::kIdentify},
                      RefusedService{0x21, Phase::kIdentify}, RefusedService{0x27, Phase::kUnlock},
                      RefusedService{0x31, Phase::kErase}, RefusedService{0x34, Phase::kDownload},
                      RefusedService{0x35, Phase::kVerify}),
    [](const auto& refused) { return "Service" + HexOf(Bytes{refused.param.service}); });

TEST_P(RefusedServiceTest, FailsItsPhaseInEveryForm) {
  for (const TransportForm form :
       {TransportForm::kPlainCan, TransportForm::kGateway, TransportForm::kKLine}) {
    Workshop workshop(form);
    const bool start_communication = GetParam().service == 0x10 && form != TransportForm::kPlainCan;
    workshop.options.misbehaviour.refused[start_communication ? 0x81 : GetParam().service] = 0x22;
    workshop.AddSegment(0x1000, Pattern(10));
    workshop.Open();
    const auto failure = workshop.FailureOfProgram(true);
    ASSERT_TRUE(failure) << NameOfForm(form);
    EXPECT_EQ(failure->phase, GetParam().phase) << NameOfForm(form);
    EXPECT_EQ(failure->response_code, 0x22) << NameOfForm(form);
  }
}

/// Does something to one frame of a run, counted from 0.
using Fault = std::vector<FrameOnWire> (*)(FrameOnWire);

std::vector<FrameOnWire> Lose(FrameOnWire /*frame*/) { return {}; }
std::vector<FrameOnWire> Double(FrameOnWire frame) { return {frame, frame}; }
std::vector<FrameOnWire> Flip(FrameOnWire frame) {
  frame.data[frame.data.size() / 2] ^= 0x04;
  return {frame};
}
std::vector<FrameOnWire> Truncate(FrameOnWire frame) {
  frame.data.pop_back();
  return {frame};
}
std::vector<FrameOnWire> Delay(FrameOnWire frame) {
  frame.at += 30ms;
  return {frame};
}

struct FaultCase {
  const char* name;
  Fault fault;
};

class FaultTest : public ::testing::TestWithParam<std::tuple<TransportForm, FaultCase>> {
 protected:
  /// Runs with the fault at frame `target`. False where the run has fewer frames.
  static bool RunWithFaultAt(int target) {
    Workshop workshop(std::get<0>(GetParam()));
    workshop.options.history.resize(2);
    workshop.AddSegment(0x1000, Pattern(20));
    workshop.Open();
    int frames = 0;
    workshop.bus->InjectFaults([&](const FrameOnWire& frame) {
      return frames++ == target ? std::get<1>(GetParam()).fault(frame) : std::vector{frame};
    });
    const bool succeeded = !workshop.FailureOfProgram(true);
    EXPECT_TRUE(!succeeded || workshop.ecu->ReadMemory(0x1000, 20) == Pattern(20))
        << "a false success with the fault at frame " << target;
    workshop.platform->WaitForWorkers();
    return frames > target;
  }
};

INSTANTIATE_TEST_SUITE_P(
    Programmer, FaultTest,
    ::testing::Combine(
        ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway, TransportForm::kKLine),
        ::testing::Values(FaultCase{"Lost", Lose}, FaultCase{"Doubled", Double},
                          FaultCase{"Flipped", Flip}, FaultCase{"Truncated", Truncate},
                          FaultCase{"Delayed", Delay})),
    [](const auto& test) {
      return std::string(std::get<1>(test.param).name) + NameOfForm(std::get<0>(test.param));
    });

TEST_P(FaultTest, InAnyFrameNeverLeadsToAFalseSuccess) {
  int target = 0;
  while (RunWithFaultAt(target)) {
    ++target;
  }
  EXPECT_GT(target, 20) << "every frame of a whole run";
}

}  // namespace
}  // namespace quillmark::host
