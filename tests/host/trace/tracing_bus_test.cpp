// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/host/trace.h"

namespace quillmark::host::testing {
namespace {

using std::chrono::milliseconds;

const Bytes kStartSession{0x02, 0x10, 0xC0, 0, 0, 0, 0, 0};

class TracingBusTest : public ::testing::Test {
 protected:
  void SetUp() override { bus_.Select({TransportForm::kPlainCan, 0x73A, 0x632}); }

  SimulatedEcu ecu_;
  SimulatedBus wire_{ecu_};
  std::vector<TraceEntry> seen_;
  TracingBus bus_{wire_, [this](const TraceEntry& entry) { seen_.push_back(entry); }};
};

TEST_F(TracingBusTest, SeesWhatIsSentAndReceivedWithTimesAndDirections) {
  bus_.Send(kStartSession);
  const auto reply = bus_.Receive(milliseconds(50));
  ASSERT_TRUE(reply);
  ASSERT_EQ(seen_.size(), 2U);
  EXPECT_EQ(seen_[0].direction, Direction::kToEcu);
  EXPECT_EQ(seen_[0].data, kStartSession);
  EXPECT_EQ(seen_[0].at, Duration(270));  // 135 bits at 500 kbit/s
  EXPECT_EQ(seen_[0].exchange, (Exchange{TransportForm::kPlainCan, 0x73A, 0x632}));
  EXPECT_EQ(seen_[1].direction, Direction::kToTester);
  EXPECT_EQ(seen_[1].data, *reply);
  EXPECT_EQ(seen_[1].at, wire_.Now());
}

TEST_F(TracingBusTest, SeesNothingWhereNothingCame) {
  EXPECT_FALSE(bus_.Receive(milliseconds(50)));
  EXPECT_TRUE(seen_.empty());
}

TEST_F(TracingBusTest, SeesBreaksOfAKLine) {
  bus_.Select({.form = TransportForm::kKLine});
  bus_.Wait(milliseconds(3));
  bus_.Break(milliseconds(25));
  ASSERT_EQ(seen_.size(), 1U);
  EXPECT_EQ(seen_[0].kind, TraceEntryKind::kBreak);
  EXPECT_EQ(seen_[0].at, milliseconds(3));
  EXPECT_EQ(seen_[0].low, milliseconds(25));
}

TEST_F(TracingBusTest, PassesErrorsOfTheBusOn) {
  EXPECT_THROW(bus_.Break(milliseconds(25)), BusError);
  EXPECT_TRUE(seen_.empty());
}

}  // namespace
}  // namespace quillmark::host::testing
