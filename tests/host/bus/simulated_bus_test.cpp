// SPDX-License-Identifier: MIT
#include "quillmark/host/simulated_bus.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

constexpr Exchange kCan{TransportForm::kPlainCan, 0x73A, 0x632};
constexpr Exchange kKLine{TransportForm::kKLine};

/// Answers every frame after a while with the same frame, its first byte increased by 0x40.
class EchoNode : public SimulatedNode {
 public:
  [[nodiscard]] bool Hears(const Exchange& exchange) const override { return exchange != kDeaf; }
  void OnFrame(ByteView frame, Duration now) override {
    heard.push_back(HexOf(frame));
    Bytes answer(frame.begin(), frame.end());
    answer.front() = static_cast<std::uint8_t>(answer.front() + 0x40);
    queue_.emplace_back(now + delay, answer);
  }
  void OnBreak(Duration low, Duration now) override { breaks.emplace_back(low, now); }
  [[nodiscard]] std::optional<Duration> NextDue() const override {
    return queue_.empty() ? std::nullopt : std::optional(queue_.front().first);
  }
  Bytes TakeFrame(Duration /*now*/) override {
    Bytes frame = queue_.front().second;
    queue_.pop_front();
    return frame;
  }

  static constexpr Exchange kDeaf{TransportForm::kPlainCan, 1, 2};
  Duration delay = 10ms;
  std::vector<std::string> heard;
  std::vector<std::pair<Duration, Duration>> breaks;

 private:
  std::deque<std::pair<Duration, Bytes>> queue_;
};

const Bytes kFrame{0x02, 0x10, 0xC0, 0, 0, 0, 0, 0};
const Bytes kAnswer{0x42, 0x10, 0xC0, 0, 0, 0, 0, 0};

class SimulatedBusTest : public ::testing::Test {
 protected:
  SimulatedBusTest() { bus_.Select(kCan); }

  EchoNode node_;
  SimulatedBus bus_{node_};
};

TEST_F(SimulatedBusTest, CountsTheWireTimeOfBothFramesAndTheNodesDelay) {
  bus_.Send(kFrame);
  EXPECT_EQ(bus_.Now(), 270us);
  EXPECT_EQ(bus_.Receive(100ms), kAnswer);
  EXPECT_EQ(bus_.Now(), 270us + 10ms + 270us);
}

TEST_F(SimulatedBusTest, IsSilentUntilTheTimeoutAndNotLonger) {
  EXPECT_EQ(bus_.Receive(100ms), std::nullopt);
  EXPECT_EQ(bus_.Now(), 100ms);
}

TEST_F(SimulatedBusTest, DeliversLaterWhatCameAfterTheTimeout) {
  bus_.Send(kFrame);
  EXPECT_EQ(bus_.Receive(10ms), std::nullopt);
  EXPECT_EQ(bus_.Receive(1ms), kAnswer);
}

TEST_F(SimulatedBusTest, KeepsWhatArrivesDuringAWait) {
  bus_.Send(kFrame);
  bus_.Wait(50ms);
  EXPECT_EQ(bus_.Receive(0ms), kAnswer);
  EXPECT_EQ(bus_.Now(), 50ms + 270us);
}

TEST_F(SimulatedBusTest, FramesFollowEachOtherOnTheWire) {
  node_.delay = 0us;
  bus_.Send(kFrame);
  bus_.Send(kFrame);
  EXPECT_EQ(bus_.Receive(1ms), kAnswer);
  EXPECT_EQ(bus_.Receive(1ms), kAnswer);
  EXPECT_EQ(bus_.Now(), 4 * 270us);
}

TEST_F(SimulatedBusTest, ReachesOnlyANodeThatHearsTheExchange) {
  bus_.Select(EchoNode::kDeaf);
  bus_.Send(kFrame);
  EXPECT_EQ(bus_.Receive(100ms), std::nullopt);
  EXPECT_THAT(node_.heard, ElementsAre());
}

TEST_F(SimulatedBusTest, ShowsEveryFrameAsItArrives) {
  std::vector<std::string> seen;
  bus_.OnFrame([&](const Exchange& exchange, const FrameOnWire& frame) {
    EXPECT_EQ(exchange, kCan);
    seen.push_back((frame.direction == Direction::kToEcu ? "> " : "< ") + HexOf(frame.data) + " " +
                   std::to_string(frame.at.count()));
  });
  bus_.Send(kFrame);
  bus_.Wait(50ms);
  EXPECT_THAT(seen, ElementsAre("> 0210C00000000000 270", "< 4210C00000000000 10540"));
}

TEST_F(SimulatedBusTest, BreaksAKLine) {
  bus_.Select(kKLine);
  bus_.Wait(5ms);
  bus_.Break(25ms);
  EXPECT_THAT(node_.breaks, ElementsAre(std::pair<Duration, Duration>(25ms, 30ms)));
}

TEST_F(SimulatedBusTest, CannotBreakACanBus) { EXPECT_THROW(bus_.Break(25ms), BusError); }

TEST_F(SimulatedBusTest, LosesAFrameOnRequest) {
  bus_.InjectFaults([](const FrameOnWire&) { return std::vector<FrameOnWire>{}; });
  bus_.Send(kFrame);
  EXPECT_EQ(bus_.Receive(100ms), std::nullopt);
  EXPECT_THAT(node_.heard, ElementsAre());
}

TEST_F(SimulatedBusTest, DoublesDamagesAndDelaysFramesOnRequest) {
  bus_.InjectFaults([](const FrameOnWire& frame) {
    if (frame.direction == Direction::kToTester) {
      return std::vector{frame};
    }
    FrameOnWire late = frame;
    late.at += 5ms;
    late.data[1] ^= 0x01;
    return std::vector{late, frame};
  });
  bus_.Send(kFrame);
  EXPECT_EQ(bus_.Receive(100ms), kAnswer);
  EXPECT_EQ(bus_.Receive(100ms), (Bytes{0x42, 0x11, 0xC0, 0, 0, 0, 0, 0}));
  EXPECT_THAT(node_.heard, ElementsAre("0210C00000000000", "0211C00000000000"));
}

TEST(SimulatedBus, RefusesAWireThatCarriesNothing) {
  EchoNode node;
  EXPECT_THROW(SimulatedBus(node, {.can_bit_rate = 0}), std::invalid_argument);
  EXPECT_THROW(SimulatedBus(node, {.k_line_baud = 0}), std::invalid_argument);
}

}  // namespace
}  // namespace quillmark::host
