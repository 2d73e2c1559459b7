// SPDX-License-Identifier: MIT
// The bus behind a K line adapter, against devices behind real pseudo-terminals.
#include "host/adapters/k_line_bus.h"

#include <gmock/gmock.h>

#include "tests/host/adapters/scripted_device.h"

namespace quillmark::host::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// A pause that only a broken-off message has, even on a busy machine.
constexpr KLineTiming kFast{.p1 = 2000ms, .p3 = 0ms, .p4 = 0ms};
const Bytes kRequest{0x82, 0x11, 0xF1, 0x27, 0x81, 0x2C};
const Bytes kReply{0x82, 0xF1, 0x11, 0x67, 0x82, 0x6D};

Bytes Joined(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// Echoes every byte and appends `reply` once the request is complete.
class KLineBusTest : public ::testing::Test {
 protected:
  Bytes Answer(const Bytes& heard) {
    const std::scoped_lock lock(mutex_);
    heard_.insert(heard_.end(), heard.begin(), heard.end());
    return heard_.size() == kRequest.size() ? Joined(heard, reply_) : heard;
  }

  KLineBus Open(const KLineTiming& timing = kFast) {
    return {OpenSerialPort(device_.device(), 10'400), 10'400, timing};
  }

  std::mutex mutex_;
  Bytes heard_;
  Bytes reply_ = kReply;
  ScriptedDevice device_{[this](const Bytes& heard) { return Answer(heard); }};
};

TEST_F(KLineBusTest, TakesTheEchoForWhatItIs) {
  KLineBus bus = Open();
  bus.Send(kRequest);
  EXPECT_EQ(bus.Receive(kPlenty), kReply);
  EXPECT_EQ(bus.Receive(1ms), std::nullopt);
  const std::scoped_lock lock(mutex_);
  EXPECT_EQ(heard_, kRequest);
}

TEST_F(KLineBusTest, SendsByteByByteWhereP4IsNotZero) {
  KLineBus bus = Open({.p1 = 2000ms, .p3 = 0ms, .p4 = 5ms});
  const Duration start = bus.Now();
  bus.Send(kRequest);
  EXPECT_GE(bus.Now() - start, 25ms) << "five pauses between six bytes";
  EXPECT_EQ(bus.Receive(kPlenty), kReply);
}

TEST_F(KLineBusTest, KeepsP3AfterAReply) {
  KLineBus bus = Open({.p1 = 2000ms, .p3 = 55ms, .p4 = 0ms});
  bus.Send(kRequest);
  ASSERT_EQ(bus.Receive(kPlenty), kReply);
  const Duration heard = bus.Now();
  bus.Send(kRequest);
  EXPECT_GE(bus.Now() - heard, 50ms);
}

TEST_F(KLineBusTest, ReceivesMessagesThatComeInPiecesOrTogether) {
  KLineBus bus = Open();
  const Bytes two = Joined(kReply, kReply);
  for (const std::size_t size : {1U, 4U, 6U, 1U}) {
    static std::size_t at = 0;
    device_.Say(Bytes(two.begin() + static_cast<std::ptrdiff_t>(at),
                      two.begin() + static_cast<std::ptrdiff_t>(at + size)));
    at += size;
    std::this_thread::sleep_for(5ms);
  }
  EXPECT_EQ(bus.Receive(kPlenty), kReply);
  EXPECT_EQ(bus.Receive(kPlenty), kReply);
}

TEST_F(KLineBusTest, DropsNoiseBeforeAMessage) {
  KLineBus bus = Open();
  device_.Say(Joined({0x00, 0x11}, kReply));
  EXPECT_EQ(bus.Receive(kPlenty), kReply);
}

TEST_F(KLineBusTest, HandsOverAMessageThatBreaksOff) {
  KLineBus bus = Open({.p1 = 30ms, .p3 = 0ms, .p4 = 0ms});
  device_.Say({0x82, 0xF1, 0x11});
  EXPECT_EQ(bus.Receive(kPlenty), (Bytes{0x82, 0xF1, 0x11}));
}

TEST_F(KLineBusTest, HandsOverAWrongChecksumUnseen) {
  KLineBus bus = Open();
  Bytes wrong = kReply;
  wrong.back() = 0;
  device_.Say(wrong);
  EXPECT_EQ(bus.Receive(kPlenty), wrong);
}

TEST_F(KLineBusTest, ReceivesNothingInSilence) {
  KLineBus bus = Open();
  const Duration start = bus.Now();
  EXPECT_EQ(bus.Receive(30ms), std::nullopt);
  EXPECT_GE(bus.Now() - start, 30ms);
}

TEST_F(KLineBusTest, GivesAMessageThatBreaksOffBeforeTheNext) {
  KLineBus bus = Open();
  device_.Say(Joined(kReply, {0x82, 0xF1}));
  ASSERT_EQ(bus.Receive(kPlenty), kReply);
  EXPECT_EQ(bus.Receive(0ms), (Bytes{0x82, 0xF1}));
  device_.Say(kReply);
  EXPECT_EQ(bus.Receive(kPlenty), kReply) << "not glued to the two bytes before";
}

TEST_F(KLineBusTest, FailsWhereTheDeviceDisappears) {
  KLineBus bus = Open();
  device_.Unplug();
  EXPECT_THAT(BusErrorOf([&] { bus.Send(kRequest); }), HasSubstr(" is gone: "));
}

TEST_F(KLineBusTest, CarriesNoOtherForm) {
  KLineBus bus = Open();
  EXPECT_THAT(BusErrorOf([&] {
                bus.Select({TransportForm::kPlainCan, 1, 2});
              }),
              HasSubstr("K line form alone"));
}

TEST(KLineBus, DoubtsAMessageWhoseEchoIsAnother) {
  ScriptedDevice device([](Bytes heard) {
    heard.front() ^= 0x01;
    return heard;
  });
  KLineBus bus(OpenSerialPort(device.device(), 10'400), 10'400, kFast);
  EXPECT_THROW(bus.Send(kRequest), DoubtfulFrame);
  EXPECT_EQ(
      BusErrorOf([&] { bus.Send(kRequest); }),
      "the K line carries 8311F127812C where 8211F127812C was sent: noise, another tester, or "
      "a line that is held");
}

TEST(KLineBus, FailsWhereThereIsNoEcho) {
  ScriptedDevice device([](const Bytes&) { return Bytes{}; });
  KLineBus bus(OpenSerialPort(device.device(), 10'400), 10'400, kFast);
  EXPECT_EQ(BusErrorOf([&] { bus.Send(kRequest); }),
            "the K line adapter hears 0 of the 6 bytes that it sent: is it one for a K line, is "
            "the line powered?");
}

/// What a pseudo-terminal cannot show: a break.
class RecordingPort : public SerialPort {
 public:
  explicit RecordingPort(std::vector<std::string>& calls) : calls_(calls) {}
  void Write(ByteView bytes) override {
    calls_.push_back("write " + HexOf(bytes));
    echo_.assign(bytes.begin(), bytes.end());
  }
  Bytes Read(Duration /*timeout*/) override { return std::exchange(echo_, {}); }
  void Break(std::chrono::milliseconds low) override {
    calls_.push_back("break " + std::to_string(low.count()));
  }

 private:
  std::vector<std::string>& calls_;
  Bytes echo_;
};

TEST(KLineBus, WakesTheEcuWithABreakOfThePort) {
  std::vector<std::string> calls;
  KLineBus bus(std::make_unique<RecordingPort>(calls), 10'400, kFast);
  bus.Break(25ms);
  bus.Wait(25ms);
  bus.Send(kRequest);
  EXPECT_THAT(calls, ElementsAre("break 25", "write 8211F127812C"));
}

}  // namespace
}  // namespace quillmark::host::testing
