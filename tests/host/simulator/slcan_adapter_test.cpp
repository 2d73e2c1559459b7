// SPDX-License-Identifier: MIT
#include "host/simulator/slcan_adapter.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>

#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

class SlcanAdapterTest : public ::testing::Test {
 protected:
  SlcanAdapterTest() { wire_.Select(ecu_.exchange()); }

  std::string Say(const std::string& text) {
    const Bytes answer = adapter_.OnBytes(Bytes(text.begin(), text.end()));
    return {answer.begin(), answer.end()};
  }

  /// What the ECU's frames look like to the tester after a while.
  std::string Later() {
    wire_.AdvanceTo(wire_.Now() + 100ms);
    std::string text;
    while (const std::optional<Bytes> frame = wire_.TakeReceived()) {
      const Bytes bytes = adapter_.OnFrame(*frame);
      text.append(bytes.begin(), bytes.end());
    }
    return text;
  }

  SimulatedEcu ecu_;
  SimulatedWire wire_{ecu_, WireSpeed{}};
  SlcanAdapter adapter_{wire_, 500'000};
};

TEST_F(SlcanAdapterTest, CarriesFramesOnceItIsOpen) {
  EXPECT_EQ(Say("S6\rO\r"), "\r\r");
  EXPECT_EQ(Say("t6328021081000000\r"), "\a") << "a byte is missing";
  EXPECT_EQ(Say("t63280210810000000000\r"), "z\r");
  EXPECT_EQ(Later(), "t73A8025081AAAAAAAAAA\r");
}

TEST_F(SlcanAdapterTest, AddsTimeStampsWhereTheyAreWanted) {
  EXPECT_EQ(Say("Z1\rS6\rO\r"), "\r\r\r");
  Say("t63280210810000000000\r");
  EXPECT_THAT(Later(), ::testing::MatchesRegex("t73A8025081AAAAAAAAAA[0-9A-F][0-9A-F][0-9A-F]"
                                               "[0-9A-F]\r"));
}

TEST_F(SlcanAdapterTest, RefusesWhatDoesNotFitItsState) {
  EXPECT_EQ(Say("O\r"), "\a") << "no bit rate yet";
  EXPECT_EQ(Say("C\r"), "\a");
  EXPECT_EQ(Say("t6320\r"), "\a");
  EXPECT_EQ(Say("S6\rL\r"), "\r\r");
  EXPECT_EQ(Say("t6320\r"), "\a") << "listens only";
  EXPECT_EQ(Say("S6\rZ1\rO\r"), "\a\a\a") << "open";
  EXPECT_EQ(Say("C\r"), "\r");
  EXPECT_EQ(Say("S9\rQ\r"), "\a\a");
}

TEST_F(SlcanAdapterTest, AnswersWhatItIsAsked) {
  EXPECT_EQ(Say("V\rN\rF\r\r"), "V1013\rNQM01\rF00\r\r");
}

TEST_F(SlcanAdapterTest, TakesFramesForOthersAndNothingHappens) {
  Say("S6\rO\r");
  EXPECT_EQ(Say("t12330102\rT00000632802108100000000000\r"), "\a\a");
  EXPECT_EQ(Say("t12320102\rT0000063280210810000000000\r"), "z\rZ\r");
  EXPECT_EQ(Later(), "");
}

TEST_F(SlcanAdapterTest, IsNotHeardAtAnotherBitRate) {
  EXPECT_EQ(Say("S5\rO\r"), "\r\r");
  EXPECT_EQ(Say("t63280210810000000000\r"), "z\r");
  EXPECT_EQ(Later(), "");
}

TEST_F(SlcanAdapterTest, PassesNothingOnOnceItIsClosed) {
  Say("S6\rO\rt63280210810000000000\rC\r");
  EXPECT_EQ(Later(), "");
}

/// A tester that opens the adapter and sends one frame, and counts how often its ECU looks for
/// more.
class CountingLine : public AdapterLine {
 public:
  [[nodiscard]] Bytes Read(Duration timeout) const override {
    static const std::string kWords = "S6\rO\rt63280210810000000000\r";
    if (reads_++ == 0) {
      return {kWords.begin(), kWords.end()};
    }
    if (!has_answer()) {
      std::this_thread::sleep_for(timeout);
    }
    return {};
  }
  void Write(ByteView bytes) const override { written_.append(bytes.begin(), bytes.end()); }

  [[nodiscard]] bool has_answer() const { return written_.find('t') != std::string::npos; }
  [[nodiscard]] int reads() const { return reads_; }
  [[nodiscard]] const std::string& written() const { return written_; }

 private:
  mutable int reads_ = 0;
  mutable std::string written_;
};

TEST(EcuServer, SleepsUntilTheTesterHasAFrameToRead) {
  const CountingLine line;
  SimulatedEcu ecu;
  SimulatedWire wire(ecu, {});
  wire.Select(ecu.exchange());
  SlcanAdapter adapter(wire, 500'000);
  EcuServer(line, wire, adapter).Run({.stop_requested = [&line] { return line.has_answer(); }});
  EXPECT_EQ(line.written(), "\r\rz\rt73A8025081AAAAAAAAAA\r");
  EXPECT_LE(line.reads(), 3) << "the words, the time until the answer, and what may follow it";
}

}  // namespace
}  // namespace quillmark::host
