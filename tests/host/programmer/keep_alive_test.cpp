// SPDX-License-Identifier: MIT
// The session stays open while the host itself pauses.
#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

/// Lets the time of a simulated bus go by while real time does, as on a real bus.
class RealTimeSimulation : public Bus {
 public:
  explicit RealTimeSimulation(SimulatedBus& bus) : bus_(bus) {}

  void Select(const Exchange& exchange) override { bus_.Select(exchange); }
  void Send(ByteView frame) override { bus_.Send(frame); }
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override {
    return bus_.Receive(timeout);
  }
  void Wait(std::chrono::milliseconds time) override { bus_.Wait(time); }
  void Break(std::chrono::milliseconds low) override { bus_.Break(low); }
  [[nodiscard]] Duration Now() const override {
    CatchUp();
    return bus_.Now();
  }

 private:
  void CatchUp() const {
    const auto now = std::chrono::steady_clock::now();
    bus_.Wait(std::chrono::duration_cast<std::chrono::milliseconds>(now - last_));
    last_ = now;
  }

  SimulatedBus& bus_;
  mutable std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

class KeepAlive : public ::testing::TestWithParam<TransportForm> {
 protected:
  KeepAlive() { workshop_.AddSegment(0x1000, Pattern(300)); }

  Workshop workshop_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Forms, KeepAlive,
                         ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine),
                         [](const auto& form) { return NameOfForm(form.param); });

TEST_P(KeepAlive, WhileItWaitsForAnEraseLongerThanASessionLasts) {
  workshop_.config.poll_interval = 12s;
  workshop_.Open();
  EXPECT_FALSE(workshop_.FailureOfProgram(true)) << workshop_.message;
}

TEST_P(KeepAlive, IsWhatKeepsTheSessionFromLapsing) {
  workshop_.config.poll_interval = 12s;
  workshop_.config.tester_present_interval = 20s;
  workshop_.Open();
  EXPECT_TRUE(workshop_.FailureOfProgram(true)) << "5 s of silence close the session";
}

TEST_P(KeepAlive, WhileTheHostIsAskedForItsConsent) {
  workshop_.config.tester_present_interval = 40ms;
  workshop_.options.timing.session_timeout = 2000ms;
  workshop_.Open();
  RealTimeSimulation bus(*workshop_.bus);
  Programmer programmer(workshop_.platform, bus, workshop_.config);
  int asked = 0;
  const auto confirm = [&asked](const Identification&) {
    std::this_thread::sleep_for(100ms);
    return ++asked < 25 ? Programmer::Answer::kNotYet : Programmer::Answer::kYes;
  };
  EXPECT_FALSE(workshop_.FailureOf([&] {
    programmer.Program(workshop_.image, {.verify = true, .confirm = confirm});
  })) << workshop_.message;
  EXPECT_EQ(asked, 25);
}

TEST_P(KeepAlive, WhileTheKeyIsComputed) {
  workshop_.config.tester_present_interval = 40ms;
  workshop_.options.timing.session_timeout = 2000ms;
  int asked = 0;
  workshop_.config.key = [&asked](const Bytes& seed) -> std::optional<Bytes> {
    std::this_thread::sleep_for(100ms);
    return ++asked < 25 ? std::nullopt : std::optional(SimulatedKey(seed));
  };
  workshop_.Open();
  RealTimeSimulation bus(*workshop_.bus);
  Programmer programmer(workshop_.platform, bus, workshop_.config);
  EXPECT_FALSE(workshop_.FailureOf([&] { programmer.Program(workshop_.image, {}); }))
      << workshop_.message;
  EXPECT_EQ(asked, 25);
}

class Consent : public ::testing::Test {
 protected:
  Consent() {
    workshop_.AddSegment(0x1000, Pattern(300));
    workshop_.Open();
  }

  [[nodiscard]] bool IsUntouched() const {
    return workshop_.ecu->ReadMemory(0x1000, 300) == Bytes(300, 0x5A);
  }

  Workshop workshop_{TransportForm::kPlainCan};
};

TEST_F(Consent, ThatIsRefusedLeavesTheEcuAlone) {
  const auto confirm = [](const Identification& identification) {
    EXPECT_EQ(identification.record.size(), 24U);
    return Programmer::Answer::kNo;
  };
  const auto failure = workshop_.FailureOf(
      [&] { workshop_.programmer->Program(workshop_.image, {.confirm = confirm}); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->cause, Cause::kCancelled);
  EXPECT_EQ(failure->text, "not confirmed");
  EXPECT_EQ(failure->memory, EcuMemory::kUntouched);
  EXPECT_FALSE(failure->session_open);
  EXPECT_TRUE(IsUntouched());
}

TEST_F(Consent, CanBeInterruptedWhileItIsAwaited) {
  int asked = 0;
  workshop_.programmer->OnStopRequested([&asked] { return asked > 2; });
  const auto confirm = [&asked](const Identification&) {
    ++asked;
    return Programmer::Answer::kNotYet;
  };
  const auto failure = workshop_.FailureOf(
      [&] { workshop_.programmer->Program(workshop_.image, {.confirm = confirm}); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->cause, Cause::kCancelled);
  EXPECT_TRUE(IsUntouched());
}

TEST_F(Consent, CanBeWithdrawnWhileTheKeyIsComputed) {
  int asked = 0;
  workshop_.config.key = [&asked](const Bytes&) -> std::optional<Bytes> {
    ++asked;
    return std::nullopt;
  };
  workshop_.Open();
  workshop_.programmer->OnStopRequested([&asked] { return asked > 2; });
  const auto failure =
      workshop_.FailureOf([&] { workshop_.programmer->Program(workshop_.image, {}); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->cause, Cause::kCancelled);
  EXPECT_EQ(failure->phase, Phase::kUnlock);
  EXPECT_FALSE(failure->session_open);
  EXPECT_TRUE(IsUntouched());
}

TEST_F(Consent, ComesWithABackupBeforeTheErase) {
  Bytes saved;
  const auto backup = [&](const MemoryImage& memory) {
    EXPECT_TRUE(IsUntouched());
    for (const auto& segment : memory.Segments()) {
      const Bytes bytes = BytesOfHex(segment->Hex()).value();
      saved.insert(saved.end(), bytes.begin(), bytes.end());
    }
  };
  EXPECT_FALSE(workshop_.FailureOf(
      [&] { workshop_.programmer->Program(workshop_.image, {.backup = backup}); }));
  EXPECT_EQ(saved, Bytes(300, 0x5A));
  EXPECT_EQ(workshop_.ecu->ReadMemory(0x1000, 300), Pattern(300));
}

TEST_F(Consent, IsWithdrawnByABackupThatFails) {
  const auto backup = [](const MemoryImage&) { throw std::runtime_error("the disk is full"); };
  EXPECT_THROW(workshop_.programmer->Program(workshop_.image, {.backup = backup}),
               std::runtime_error);
  EXPECT_TRUE(IsUntouched());
}

}  // namespace
}  // namespace quillmark::host
