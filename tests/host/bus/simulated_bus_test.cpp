// SPDX-License-Identifier: MIT
#include "quillmark/host/simulated_bus.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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

TEST(SimulatedWire, TellsWhenTheAnswerToAFrameArrives) {
  EchoNode node;
  SimulatedWire wire(node, {});
  wire.Select(kCan);
  EXPECT_EQ(wire.NextArrival(), std::nullopt);
  wire.Send(kFrame);
  EXPECT_EQ(wire.NextArrival(), 270us + 10ms + 270us);
  EXPECT_EQ(wire.Now(), 0us);
  wire.AdvanceTo(270us + 10ms + 269us);
  EXPECT_EQ(wire.TakeReceived(), std::nullopt);
  EXPECT_EQ(wire.NextArrival(), 270us + 10ms + 270us);
  wire.AdvanceTo(270us + 10ms + 270us);
  EXPECT_EQ(wire.TakeReceived(), kAnswer);
  EXPECT_EQ(wire.NextArrival(), std::nullopt);
}

TEST(SimulatedWire, KeepsAFrameThatAnotherMayOvertake) {
  EchoNode node;
  SimulatedWire wire(node, {});
  wire.Select(kCan);
  wire.InjectFaults([is_first = true](FrameOnWire frame) mutable {
    frame.at += std::exchange(is_first, false) ? 5ms : 0ms;
    return std::vector<FrameOnWire>{frame};
  });
  wire.Send(kFrame);
  EXPECT_EQ(wire.NextArrival(), 5ms + 270us + 270us);
  EXPECT_THAT(node.heard, ElementsAre());
  wire.Send(kAnswer);
  wire.AdvanceTo(20ms);
  EXPECT_THAT(node.heard, ElementsAre(HexOf(kAnswer), HexOf(kFrame)));
}

/// Frames of a tester at random times, some of them delayed, lost or doubled. Returns all that
/// arrives, with its time. `next` says until when the clock of the wire may rest.
template <typename Next>
std::vector<std::string> Arrivals(std::uint32_t seed, Next next) {
  std::minstd_rand random(seed);
  std::minstd_rand faults(seed + 1);
  EchoNode node;
  node.delay = Duration(random() % 1000);
  SimulatedWire wire(node, {});
  wire.Select(kCan);
  std::vector<std::string> to_ecu;
  std::vector<std::string> to_tester;
  wire.OnFrame([&](const Exchange& /*exchange*/, const FrameOnWire& frame) {
    (frame.direction == Direction::kToEcu ? to_ecu : to_tester)
        .push_back(std::to_string(frame.at.count()) + ' ' + HexOf(frame.data));
  });
  wire.InjectFaults([&](FrameOnWire frame) {
    const auto kind = faults() % 8;
    frame.at += Duration(kind == 0 ? faults() % 2000 : 0);
    return std::vector<FrameOnWire>(kind == 1 ? 0 : kind == 2 ? 2 : 1, frame);
  });
  for (int sent = 0; sent < 50; ++sent) {
    const Duration at = wire.Now() + Duration(random() % 1500);
    for (auto event = next(wire); event && *event <= at; event = next(wire)) {
      wire.AdvanceTo(*event);
    }
    wire.AdvanceTo(at);
    Bytes frame(1 + random() % 8, static_cast<std::uint8_t>(sent));
    wire.Send(frame);
  }
  wire.AdvanceTo(wire.Now() + 1s);
  to_ecu.insert(to_ecu.end(), to_tester.begin(), to_tester.end());
  return to_ecu;
}

TEST(SimulatedWire, CarriesTheSameWhetherItsClockStopsAtEachEventOrAtArrivalsAlone) {
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    const auto at_each_event =
        Arrivals(seed, [](const SimulatedWire& wire) { return wire.NextEvent(); });
    EXPECT_EQ(Arrivals(seed, [](SimulatedWire& wire) { return wire.NextArrival(); }), at_each_event)
        << "seed " << seed;
  }
}

TEST(SimulatedBus, RefusesAWireThatCarriesNothing) {
  EchoNode node;
  EXPECT_THROW(SimulatedBus(node, {.can_bit_rate = 0}), std::invalid_argument);
  EXPECT_THROW(SimulatedBus(node, {.k_line_baud = 0}), std::invalid_argument);
}

}  // namespace
}  // namespace quillmark::host
