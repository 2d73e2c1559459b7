// SPDX-License-Identifier: MIT
// The bus behind a serial CAN adapter, against devices behind real pseudo-terminals.
#include "host/adapters/slcan_bus.h"

#include <gmock/gmock.h>

#include "tests/host/adapters/scripted_device.h"

namespace quillmark::host::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr Exchange kStandard{TransportForm::kPlainCan, 0x73A, 0x632};
constexpr Exchange kExtended{TransportForm::kPlainCan, 0x18DAF110, 0x18DA10F1};

/// Confirms every line and keeps it.
class SlcanBusTest : public ::testing::Test {
 protected:
  Bytes Confirm(const Bytes& heard) {
    const std::scoped_lock lock(mutex_);
    heard_ += TextOf(heard);
    std::string answer = heard_.ends_with("V\r") ? extra_ + "\r\r\aV1013" : "";
    for (const std::uint8_t byte : heard) {
      if (byte == '\r' && !heard_.ends_with("V\r")) {
        answer += refused_.empty() || !heard_.ends_with(refused_ + "\r") ? "\r" : "\a";
      }
    }
    return BytesOfText(heard_.ends_with("V\r") ? answer + "\r" : answer);
  }

  std::unique_ptr<SlcanBus> Open(std::uint32_t bit_rate = 500'000) {
    auto bus =
        std::make_unique<SlcanBus>(OpenSerialPort(device_.device(), 115'200), bit_rate, true);
    bus->Select(kStandard);
    return bus;
  }

  std::string Heard() {
    const std::scoped_lock lock(mutex_);
    return heard_;
  }

  /// Says this, left by an earlier session, before its version.
  void LeaveBehind(const std::string& text) {
    const std::scoped_lock lock(mutex_);
    extra_ = text;
  }

  /// Answers this line with BEL.
  void Refuse(const std::string& line) {
    const std::scoped_lock lock(mutex_);
    refused_ = line;
  }

  std::mutex mutex_;
  std::string heard_;
  std::string refused_;
  std::string extra_;
  ScriptedDevice device_{[this](const Bytes& heard) { return Confirm(heard); }};
};

TEST_F(SlcanBusTest, ClosesTheChannelChoosesTheBitRateAndOpensIt) {
  const auto bus = Open(250'000);
  EXPECT_EQ(Heard(), "\r\rC\rV\rS5\rO\r");
}

TEST_F(SlcanBusTest, PassesOverWhatAnEarlierSessionLeft) {
  LeaveBehind("t73A101\r\a\at73A102\rt7");
  const auto bus = Open();
  EXPECT_EQ(bus->Receive(1ms), std::nullopt);
}

TEST_F(SlcanBusTest, ClosesTheChannelInTheEnd) {
  Open().reset();
  for (int i = 0; i < 500 && !Heard().ends_with("O\rC\r"); ++i) {
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_THAT(Heard(), ::testing::EndsWith("O\rC\r"));
}

TEST_F(SlcanBusTest, SendsStandardAndExtendedFrames) {
  const auto bus = Open();
  bus->Send(Bytes{0x02, 0x27, 0x81});
  EXPECT_THAT(Heard(), ::testing::EndsWith("\rt6323022781\r"));
  bus->Select(kExtended);
  bus->Send(Bytes{0x01, 0x3E});
  EXPECT_THAT(Heard(), ::testing::EndsWith("\rT18DA10F12013E\r"));
}

TEST_F(SlcanBusTest, ReceivesTheFramesOfItsExchangeAlone) {
  const auto bus = Open();
  device_.Say(BytesOfText("t73B10A\rT0000073A10B\rt73A10C\r"));
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x0C});
  bus->Select(kExtended);
  device_.Say(BytesOfText("t11010A\rT18DAF11010D\r"));
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x0D});
}

TEST_F(SlcanBusTest, ReceivesFramesThatComeInPiecesOrTogetherOrWithJunk) {
  const auto bus = Open();
  for (const char* piece : {"t7", "3A2", "0102", "\rt73A10", "3\rt73A", "104\r\xFF%t73A105\r"}) {
    device_.Say(BytesOfText(piece));
    std::this_thread::sleep_for(5ms);
  }
  EXPECT_EQ(bus->Receive(kPlenty), (Bytes{0x01, 0x02}));
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x03});
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x04});
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x05});
}

TEST_F(SlcanBusTest, KeepsAFrameThatComesBeforeAConfirmation) {
  const auto bus = Open();
  device_.Say(BytesOfText("t73A101\r"));
  bus->Send(Bytes{0x3E});
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x01});
}

TEST_F(SlcanBusTest, ReceivesNothingInSilence) {
  const auto bus = Open();
  const Duration start = bus->Now();
  EXPECT_EQ(bus->Receive(30ms), std::nullopt);
  EXPECT_GE(bus->Now() - start, 30ms);
}

TEST_F(SlcanBusTest, GivesWhatHasArrivedWithoutWaiting) {
  const auto bus = Open();
  device_.Say(BytesOfText("t73A101\r"));
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x01});
  device_.Say(BytesOfText("t73A102\rt73A103\r"));
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x02});
  EXPECT_EQ(bus->Receive(0ms), Bytes{0x03});
  EXPECT_EQ(bus->Receive(0ms), std::nullopt);
}

TEST_F(SlcanBusTest, NeverWaitsShorterThanAsked) {
  const auto bus = Open();
  for (const auto time : {1ms, 5ms, 25ms}) {
    const auto start = std::chrono::steady_clock::now();
    bus->Wait(time);
    EXPECT_GE(std::chrono::steady_clock::now() - start, time);
  }
}

TEST_F(SlcanBusTest, FailsWhereTheAdapterRefusesItsBitRate) {
  Refuse("S6");
  EXPECT_EQ(BusErrorOf([&] { Open(); }), "the adapter refuses \"S6\"");
}

TEST_F(SlcanBusTest, DoubtsAFrameThatTheAdapterRefusesAndFailsWithTheNext) {
  Refuse("t632101");
  const auto bus = Open();
  EXPECT_THROW(bus->Send(Bytes{0x01}), DoubtfulFrame);
  EXPECT_NO_THROW(bus->Send(Bytes{0x02}));
  EXPECT_THROW(bus->Send(Bytes{0x01}), DoubtfulFrame) << "all was well in between";
  try {
    bus->Send(Bytes{0x01});
    ADD_FAILURE() << "the adapter is dead";
  } catch (const DoubtfulFrame&) {
    ADD_FAILURE() << "not a second time";
  } catch (const BusError& error) {
    EXPECT_STREQ(error.what(), "the adapter refuses \"t632101\"");
  }
}

TEST_F(SlcanBusTest, OverlooksOneErrorThatTheAdapterReports) {
  const auto bus = Open();
  device_.Say(BytesOfText("\a"));
  EXPECT_EQ(bus->Receive(30ms), std::nullopt);
  device_.Say(BytesOfText("t73A101\r"));
  EXPECT_EQ(bus->Receive(kPlenty), Bytes{0x01});
  device_.Say(BytesOfText("\a"));
  EXPECT_EQ(BusErrorOf([&] { static_cast<void>(bus->Receive(kPlenty)); }),
            "the adapter reports one error after the other");
}

TEST_F(SlcanBusTest, FailsWhereTheDeviceDisappears) {
  const auto bus = Open();
  device_.Unplug();
  EXPECT_THAT(BusErrorOf([&] { static_cast<void>(bus->Receive(kPlenty)); }),
              HasSubstr(" is gone: "));
}

TEST_F(SlcanBusTest, CarriesNoOtherForm) {
  const auto bus = Open();
  EXPECT_THAT(BusErrorOf([&] {
                bus->Select({TransportForm::kGateway, 3, 13});
              }),
              HasSubstr("plain CAN form alone"));
  EXPECT_THAT(BusErrorOf([&] { bus->Break(25ms); }), HasSubstr("no break"));
}

TEST(SlcanBus, FailsWhereTheAdapterConfirmsNothing) {
  ScriptedDevice device([](const Bytes&) { return Bytes{}; });
  EXPECT_EQ(BusErrorOf([&] { SlcanBus(OpenSerialPort(device.device(), 115'200), 500'000, true); }),
            "the adapter does not confirm \"S6\" within 2000 ms; one that never does needs "
            "\"confirms=no\"");
}

TEST(SlcanBus, WorksWithAnAdapterThatConfirmsNothingWhereItIsTold) {
  ScriptedDevice device([](const Bytes& heard) {
    return TextOf(heard).ends_with("t63213E\r") ? BytesOfText("t73A17E\r") : Bytes{};
  });
  SlcanBus bus(OpenSerialPort(device.device(), 115'200), 500'000, false);
  bus.Select(kStandard);
  bus.Send(Bytes{0x3E});
  EXPECT_EQ(bus.Receive(kPlenty), Bytes{0x7E});
}

}  // namespace
}  // namespace quillmark::host::testing
