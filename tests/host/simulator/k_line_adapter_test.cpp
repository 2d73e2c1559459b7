// SPDX-License-Identifier: MIT
#include "host/simulator/k_line_adapter.h"

#include <gmock/gmock.h>

#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

const Bytes kStartCommunication{0x81, 0x11, 0xF1, 0x81, 0x04};
const Bytes kStarted{0x83, 0xF1, 0x11, 0xC1, 0x6B, 0x8F, 0x40};

EcuOptions KLineEcu() {
  EcuOptions options;
  options.form = TransportForm::kKLine;
  options.address = 0x11;
  options.needs_break = false;
  return options;
}

class KLineAdapterTest : public ::testing::Test {
 protected:
  KLineAdapterTest() { wire_.Select(ecu_.exchange()); }

  SimulatedEcu ecu_{KLineEcu()};
  SimulatedWire wire_{ecu_, WireSpeed{}};
  KLineAdapter adapter_{wire_, WireSpeed{}};
};

TEST_F(KLineAdapterTest, EchoesBytesOnceTheLineHasCarriedThem) {
  EXPECT_EQ(adapter_.OnBytes(kStartCommunication), Bytes{});
  EXPECT_EQ(adapter_.NextDue(), Duration(5 * 962));
  EXPECT_EQ(adapter_.TakeDue(), kStartCommunication);
  EXPECT_EQ(adapter_.NextDue(), std::nullopt);
}

TEST_F(KLineAdapterTest, HandsAWholeMessageToTheEcu) {
  adapter_.OnBytes(ByteView(kStartCommunication).first(2));
  adapter_.OnBytes(ByteView(kStartCommunication).subspan(2));
  wire_.AdvanceTo(100ms);
  EXPECT_EQ(wire_.TakeReceived(), kStarted);
  EXPECT_EQ(adapter_.OnFrame(kStarted), kStarted);
}

TEST_F(KLineAdapterTest, ForgetsAMessageThatBreaksOff) {
  adapter_.OnBytes(ByteView(kStartCommunication).first(2));
  wire_.AdvanceTo(1s);
  adapter_.OnBytes(kStartCommunication);
  wire_.AdvanceTo(2s);
  EXPECT_EQ(wire_.TakeReceived(), kStarted);
}

}  // namespace
}  // namespace quillmark::host
