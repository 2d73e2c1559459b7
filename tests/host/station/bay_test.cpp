// SPDX-License-Identifier: MIT
#include "host/station/bay.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "host/tool/paced_bus.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::HasSubstr;

/// Bytes without a run of fill.
std::shared_ptr<const Images> Pattern(std::size_t size) {
  std::string content(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    content[i] = static_cast<char>(i * 7 + 1);
  }
  return std::make_shared<Images>(ImagesOf({{"a.bin", content, 0x1000}}));
}

FlashSettings Settings(TransportForm form = TransportForm::kPlainCan) {
  FlashSettings settings;
  settings.link.form = form;
  settings.recording.records.none = true;
  settings.flash.verify = true;
  return settings;
}

/// Waits until the state of a bay is as wanted, for as long as it takes.
template <typename Wanted>
BayState Await(const Bay& bay, Wanted wanted) {
  for (;;) {
    BayState state = bay.State();
    if (wanted(state)) {
      return state;
    }
    std::this_thread::sleep_for(5ms);
  }
}

bool Asks(const BayState& state) { return state.question.has_value(); }
bool HasEnded(const BayState& state) { return !state.is_running; }

std::shared_ptr<FlashRun> RunOf(const Bay& bay, std::size_t size = 300) {
  return std::make_shared<FlashRun>(bay.settings(), Pattern(size));
}

class EveryForm : public ::testing::TestWithParam<TransportForm> {};

TEST_P(EveryForm, IsFlashedAfterAYes) {
  Bay bay("left", Settings(GetParam()), {});
  ASSERT_TRUE(bay.StartFlash(RunOf(bay)));
  const BayState asking = Await(bay, Asks);
  EXPECT_EQ(asking.question->ecu, "SIMULATED ECU 001 REV A");
  EXPECT_EQ(asking.question->image_bytes, 300U);
  EXPECT_EQ(asking.question->first_address, 0x1000U);
  EXPECT_EQ(asking.question->last_address, 0x112BU);
  EXPECT_EQ(asking.time_left, std::nullopt);
  EXPECT_EQ(bay.memory(), EcuMemory::kUntouched);
  EXPECT_TRUE(bay.Answer(true));
  bay.Wait();
  const BayState ended = bay.State();
  ASSERT_TRUE(ended.outcome);
  EXPECT_EQ(ended.outcome->code, ExitCode::kDone);
  EXPECT_THAT(
      ended.outcome->message,
      HasSubstr("300 bytes written into SIMULATED ECU 001 REV A, read back and found equal"));
  EXPECT_EQ(ended.done, 1);
  EXPECT_EQ(ended.result["verified_bytes"], 300);
  EXPECT_THAT(ended.lines, Contains("verify    300 bytes read back and found equal"));
  EXPECT_FALSE(bay.Answer(true)) << "nothing is asked any more";
}

INSTANTIATE_TEST_SUITE_P(Forms, EveryForm,
                         ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine),
                         [](const auto& test) { return NameOf(test.param); });

TEST(Bay, LeavesTheEcuAloneAfterANo) {
  Bay bay("left", Settings(), {});
  ASSERT_TRUE(bay.StartFlash(RunOf(bay)));
  Await(bay, Asks);
  EXPECT_TRUE(bay.Answer(false));
  const BayState ended = Await(bay, HasEnded);
  EXPECT_EQ(ended.outcome->code, ExitCode::kInterrupted);
  EXPECT_EQ(ended.outcome->details["next"], "try again");
  EXPECT_EQ(bay.memory(), EcuMemory::kUntouched);
}

TEST(Bay, IsStoppedWhileItAsks) {
  Bay bay("left", Settings(), {});
  ASSERT_TRUE(bay.StartFlash(RunOf(bay)));
  Await(bay, Asks);
  bay.Stop();
  const BayState ended = Await(bay, HasEnded);
  EXPECT_EQ(ended.outcome->code, ExitCode::kInterrupted);
  EXPECT_FALSE(ended.question);
}

TEST(Bay, DoesOneThingAtATime) {
  Bay bay("left", Settings(), {});
  ASSERT_TRUE(bay.StartFlash(RunOf(bay)));
  EXPECT_FALSE(bay.StartFlash(RunOf(bay)));
  EXPECT_FALSE(bay.StartIdentify());
  bay.Stop();
  bay.Wait();
  EXPECT_TRUE(bay.StartIdentify());
  EXPECT_EQ(Await(bay, HasEnded).ecu, "SIMULATED ECU 001 REV A");
  ASSERT_TRUE(bay.StartFlash(RunOf(bay))) << "again, after it has been stopped";
  Await(bay, Asks);
}

TEST(Bay, TellsInWordsWhatFailedAndWhatToDo) {
  FlashSettings settings = Settings();
  settings.flash.yes = true;
  settings.session.faults.ecu.refused[0x34] = 0x72;
  Bay bay("left", settings, {});
  ASSERT_TRUE(bay.StartFlash(RunOf(bay)));
  const BayState ended = Await(bay, HasEnded);
  EXPECT_EQ(ended.outcome->code, ExitCode::kProtocol);
  EXPECT_THAT(ended.outcome->message, HasSubstr("negative response 72, programming failure"));
  EXPECT_THAT(ended.outcome->details["next"].get<std::string>(), HasSubstr("flash"));
  EXPECT_THAT(ended.lines, Contains(HasSubstr("failed    download")));
  EXPECT_LT(ended.done, 1);
}

TEST(Bay, GivesTheLinesThatAreNew) {
  Bay bay("left", Settings(), {});
  ASSERT_TRUE(bay.StartIdentify());
  bay.Wait();
  const BayState all = bay.State();
  ASSERT_GT(all.lines.size(), 1U);
  EXPECT_EQ(all.first_line, 0U);
  const BayState last = bay.State(all.lines.size() - 1);
  EXPECT_EQ(last.first_line, all.lines.size() - 1);
  EXPECT_EQ(last.lines, std::vector{all.lines.back()});
  const BayState none = bay.State(1000);
  EXPECT_TRUE(none.lines.empty());
  EXPECT_EQ(none.first_line, all.lines.size()) << "where the next one will be";
}

TEST(Bay, TellsOfEveryChangeAndItsBarNeverFalls) {
  std::atomic<std::uint64_t> last_revision = 0;
  std::atomic<double> last_done = 0;
  std::atomic<int> changes = 0;
  const Bay* watched = nullptr;
  FlashSettings settings = Settings();
  settings.flash.yes = true;
  Bay bay("left", settings, {.on_change = [&] {
            const BayState state = watched->State();
            EXPECT_GE(state.revision, last_revision.exchange(state.revision));
            EXPECT_GE(state.done, last_done.exchange(state.done));
            EXPECT_LE(state.done, 1);
            ++changes;
          }});
  watched = &bay;
  ASSERT_TRUE(bay.StartFlash(RunOf(bay, 20'000)));
  bay.Wait();
  EXPECT_GT(changes, 20);
  EXPECT_EQ(bay.State().done, 1);
}

TEST(Bay, EndsWhatItDoesBeforeItIsGone) {
  for (const auto wait : {0ms, 1ms, 5ms, 20ms}) {
    Bay bay("left", Settings(), {});
    ASSERT_TRUE(bay.StartFlash(RunOf(bay, 20'000)));
    std::this_thread::sleep_for(wait);
  }
}

/// One that waits for its key for as long as a test needs.
TEST(Bays, DoNotWaitForOneAnother) {
  testing::TemporaryFolder folder;
  FlashSettings slow_settings = Settings();
  slow_settings.flash.yes = true;
  slow_settings.session.key_command =
      "until test -e " + folder.Path("go") + "; do sleep 0.05; done; exit 3;";
  Bay slow("slow", slow_settings, {});
  ASSERT_TRUE(slow.StartFlash(RunOf(slow)));
  FlashSettings settings = Settings();
  settings.flash.yes = true;
  Bay quick("quick", settings, {});
  ASSERT_TRUE(quick.StartFlash(RunOf(quick)));
  quick.Wait();
  EXPECT_EQ(quick.State().outcome->code, ExitCode::kDone);
  EXPECT_TRUE(slow.State().is_running);
  static_cast<void>(folder.Write("go", ""));
  EXPECT_EQ(Await(slow, HasEnded).outcome->code, ExitCode::kUnavailable);
}

TEST(PacedBus, TakesAsLongAsTheSimulatedOneSays) {
  SimulatedEcu ecu{EcuOptions{}};
  PacedBus bus(std::make_unique<SimulatedBus>(ecu));
  bus.Select({});
  std::this_thread::sleep_for(30ms);  // of the tester, who cannot make up for it
  const Duration began = bus.Now();
  bus.Send(Bytes(8));
  bus.Wait(30ms);
  EXPECT_GE(bus.Now() - began, 29ms);
}

TEST(PacedBus, IsTheOneOfASimulatorInRealTime) {
  FlashSettings settings = Settings();
  settings.session.bus = ParseBusUri("sim:?time=real");
  settings.flash.yes = true;
  Bay bay("left", settings, {});
  const auto began = std::chrono::steady_clock::now();
  ASSERT_TRUE(bay.StartFlash(RunOf(bay)));
  bay.Wait();
  ASSERT_EQ(bay.State().outcome->code, ExitCode::kDone);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
  EXPECT_GE(took.count(), bay.State().result["seconds"].get<double>());
  EXPECT_GE(took.count(), 0.5);
}

}  // namespace
}  // namespace quillmark::host
