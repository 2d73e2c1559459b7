// SPDX-License-Identifier: MIT
#include "quillmark/host/simulated_ecu.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

std::optional<Bytes> Ask(Bus& bus, std::string_view frame) {
  bus.Send(Hex(frame));
  return bus.Receive(1000ms);
}

TEST(SimulatedEcu, AnswersOnItsCanIdentifiersAlone) {
  SimulatedEcu ecu;
  SimulatedBus bus(ecu);
  bus.Select({TransportForm::kPlainCan, 1850, 1586});
  EXPECT_EQ(Ask(bus, "0210C00000000000"), Hex("0250C0AAAAAAAAAA"));
  EXPECT_EQ(bus.Now(), 270us + 2ms + 270us);
  bus.Select({TransportForm::kPlainCan, 1850, 1587});
  EXPECT_EQ(Ask(bus, "0210C00000000000"), std::nullopt);
  bus.Select({TransportForm::kGateway, 1850, 1586});
  EXPECT_EQ(Ask(bus, "0210C00000000000"), std::nullopt);
}

TEST(SimulatedEcu, AnswersBehindItsGatewayLineAlone) {
  SimulatedEcu ecu({.form = TransportForm::kGateway, .address = 0x7A, .gateway_line = 14});
  SimulatedBus bus(ecu);
  bus.Select({TransportForm::kGateway, 3, 14});
  EXPECT_EQ(Ask(bus, "01817AF1816D"), Hex("0183F17AC16B8FA9"));
  bus.Select({TransportForm::kGateway, 3, 13});
  EXPECT_EQ(Ask(bus, "01817AF1816D"), std::nullopt);
}

TEST(SimulatedEcu, AnswersOnAKLineOnceItIsWoken) {
  SimulatedEcu ecu({.form = TransportForm::kKLine, .address = 0x11});
  SimulatedBus bus(ecu);
  bus.Select({TransportForm::kKLine});
  EXPECT_EQ(Ask(bus, "8111F18104"), std::nullopt);
  bus.Break(25ms);
  bus.Wait(25ms);
  EXPECT_EQ(Ask(bus, "8111F18104"), Hex("83F111C16B8F40"));
  EXPECT_EQ(Ask(bus, "8111F13EC1"), Hex("81F1117E01"));
}

TEST(SimulatedEcu, CanBeSilent) {
  SimulatedEcu ecu({.misbehaviour = {.silent = true}});
  SimulatedBus bus(ecu);
  bus.Select({TransportForm::kPlainCan, 1850, 1586});
  EXPECT_EQ(Ask(bus, "0210C00000000000"), std::nullopt);
  EXPECT_EQ(Ask(bus, "1014340102030405"), std::nullopt);
}

TEST(SimulatedEcu, IsDeafAfterAResetUntilItHasBooted) {
  SimulatedEcu ecu;
  SimulatedBus bus(ecu);
  bus.Select({TransportForm::kPlainCan, 1850, 1586});
  ecu.Reset(bus.Now());
  bus.Send(Hex("0210C00000000000"));
  EXPECT_EQ(bus.Receive(100ms), std::nullopt);
  EXPECT_EQ(Ask(bus, "0210C00000000000"), Hex("0250C0AAAAAAAAAA"));
}

TEST(SimulatedEcu, LosesAReplyThatIsUnderWayByAReset) {
  SimulatedEcu ecu;
  SimulatedBus bus(ecu);
  bus.Select({TransportForm::kPlainCan, 1850, 1586});
  bus.Send(Hex("0210C00000000000"));
  ecu.Reset(bus.Now());
  EXPECT_EQ(bus.Receive(1000ms), std::nullopt);
}

TEST(SimulatedEcu, SleepsOnItsKLineAfterAReset) {
  SimulatedEcu ecu({.form = TransportForm::kKLine, .address = 0x11});
  SimulatedBus bus(ecu);
  bus.Select({TransportForm::kKLine});
  bus.Break(25ms);
  bus.Wait(25ms);
  EXPECT_EQ(Ask(bus, "8111F18104"), Hex("83F111C16B8F40"));
  ecu.Reset(bus.Now());
  bus.Wait(200ms);
  EXPECT_EQ(Ask(bus, "8111F13EC1"), std::nullopt);
  bus.Break(25ms);
  bus.Wait(25ms);
  EXPECT_EQ(Ask(bus, "8111F18104"), Hex("83F111C16B8F40"));
}

TEST(SimulatedEcu, NeedsOptionsThatMakeAnEcu) {
  EXPECT_THROW(SimulatedEcu({.areas = {{.size = 0}}}), std::invalid_argument);
}

}  // namespace
}  // namespace quillmark::host
