// SPDX-License-Identifier: MIT
#include "quillmark/host/programmer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// One body for all transport forms.
class EveryForm : public ::testing::TestWithParam<TransportForm> {
 protected:
  ~EveryForm() override { workshop_.platform->WaitForWorkers(); }

  SimulatedEcu& ecu() { return *workshop_.ecu; }

  Workshop workshop_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Programmer, EveryForm,
                         ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine),
                         [](const auto& form) { return NameOfForm(form.param); });

TEST_P(EveryForm, HasBlocksWithTheChecksumOfTheEcu) {
  const auto inverted = [](ByteView block) { return static_cast<std::uint16_t>(~SumOf(block)); };
  workshop_.AddSegment(0x1000, Pattern(300));
  workshop_.options.checksum = inverted;
  workshop_.Open();
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure) << "with the checksum of the platform";
  EXPECT_EQ(failure->response_code, 0x77);

  workshop_.config.checksum = inverted;
  workshop_.Open();
  std::vector<std::string> warnings;
  workshop_.programmer->OnWarning([&](const std::string& text) { warnings.push_back(text); });
  EXPECT_FALSE(workshop_.FailureOfProgram(true));
  EXPECT_THAT(warnings, IsEmpty()) << "what was read back has the same checksum";
}

TEST_P(EveryForm, ProgramsAnImageOfSeveralSegmentsAndDocuments) {
  Bytes with_gap = Pattern(100);
  with_gap.resize(1000, 0xFF);
  workshop_.AddSegment(0x000100, with_gap);
  workshop_.AddSegment(0x010001, Pattern(70'000));
  workshop_.AddSegment(0xFFFFF0, Pattern(16));
  workshop_.Open();
  const ProgramResult result = workshop_.programmer->Program(workshop_.image, {.verify = true});
  EXPECT_EQ(result.image_bytes, 71'016U);
  // The first segment sends a block of 128 and leaves 54 units of 16 out, which leaves 8 bytes.
  EXPECT_EQ(result.sent_bytes, 128U + 8U + 70'000U + 16U);
  EXPECT_EQ(result.verified_bytes, 71'016U);
  EXPECT_GT(result.download_time, 0s);
  EXPECT_GT(result.total_time, result.download_time);
  EXPECT_EQ(ecu().ReadMemory(0x000100, 1000), with_gap);
  EXPECT_EQ(ecu().ReadMemory(0x010001, 70'000), Pattern(70'000));
  EXPECT_EQ(ecu().ReadMemory(0xFFFFF0, 16), Pattern(16));
  EXPECT_EQ(ecu().ReadMemory(0x001000, 0x1000), Bytes(0x1000, 0xFF));
}

TEST_P(EveryForm, TellsOfEveryDocumentBeforeAndAfterItsRun) {
  workshop_.Open();
  std::vector<std::string> told;
  workshop_.programmer->OnDocument([&](const DocumentRun& run) {
    const bool has_reply = run.document.selectSingleNode("//r/d") != nullptr;
    EXPECT_EQ(has_reply, run.outcome != nullptr);
    told.push_back(std::string(NameOf(run.phase)) + (run.outcome != nullptr ? " ran" : ""));
  });
  static_cast<void>(workshop_.programmer->Identify());
  EXPECT_EQ(told[0], "identify");
  EXPECT_EQ(told[1], "identify ran");
  EXPECT_EQ(told.size() % 2, 0U);
}

TEST_P(EveryForm, WritesTheLogRecordAndReadsItNextTime) {
  workshop_.AddSegment(0x1000, Pattern(10));
  workshop_.Open();
  const Identification before = workshop_.programmer->Program(workshop_.image, {}).identification;
  EXPECT_EQ(before.entries.at(0).history, SimulatedHistory()[0].history);
  const Identification after = workshop_.programmer->Identify();
  EXPECT_EQ(after.entries.at(0).history, Bytes(24, 'h'));
}

TEST_P(EveryForm, WritesNoLogRecordWhereThereIsNone) {
  workshop_.config.log_record.reset();
  workshop_.AddSegment(0x1000, Pattern(10));
  workshop_.Open();
  workshop_.programmer->Program(workshop_.image, {});
  EXPECT_EQ(workshop_.ecu->history()[0].history, SimulatedHistory()[0].history);
}

TEST_P(EveryForm, ClosesItsSession) {
  workshop_.AddSegment(0x1000, Pattern(10));
  workshop_.Open();
  workshop_.programmer->Program(workshop_.image, {});
  EXPECT_FALSE(workshop_.ecu->InSession(workshop_.bus->Now()));
  static_cast<void>(workshop_.programmer->Identify());
  EXPECT_FALSE(workshop_.ecu->InSession(workshop_.bus->Now()));
}

TEST_P(EveryForm, ReadsTheIdentification) {
  workshop_.Open();
  const Identification identification = workshop_.programmer->Identify();
  EXPECT_EQ(identification.record, workshop_.options.identification);
  const std::size_t entries = GetParam() == TransportForm::kKLine ? 1 : 8;
  ASSERT_EQ(identification.entries.size(), entries);
  for (std::size_t i = 0; i < entries; ++i) {
    EXPECT_EQ(identification.entries[i].history, SimulatedHistory()[i].history) << i;
  }
}

TEST_P(EveryForm, ReadsRanges) {
  workshop_.AddSegment(0x1000, Pattern(200));
  workshop_.Open();
  workshop_.programmer->Program(workshop_.image, {});
  const std::shared_ptr<MemoryMap> map = workshop_.platform->CreateMemoryMap();
  map->AddRange(0x1010, 100);
  map->AddRange(0x0FFF, 2);
  const std::shared_ptr<MemoryImage> image = workshop_.programmer->Read(map);
  const auto segments = image->Segments();
  ASSERT_EQ(segments.size(), 4U);
  EXPECT_EQ(segments[0]->StartAddress(), 0x0FFF);
  EXPECT_EQ(segments[0]->Hex(), "FF01");
  EXPECT_EQ(segments[1]->StartAddress(), 0x1010);
  EXPECT_EQ(segments[1]->Length(), 48);
  EXPECT_EQ(segments[1]->Hex().substr(0, 6), "111213");
  EXPECT_EQ(segments[2]->StartAddress(), 0x1040);
  EXPECT_EQ(segments[3]->StartAddress(), 0x1070);
  EXPECT_EQ(segments[3]->Length(), 4);
}

TEST_P(EveryForm, VerifiesInASessionOfItsOwn) {
  workshop_.AddSegment(0x1000, Pattern(200));
  workshop_.Open();
  workshop_.programmer->Program(workshop_.image, {});
  EXPECT_EQ(workshop_.programmer->Verify(workshop_.image).verified_bytes, 200U);
}

TEST_P(EveryForm, WaitsOnWhileTheEcuSaysPending) {
  for (const std::uint8_t service : Bytes{0x21, 0x27, 0x31, 0x34, 0x35}) {
    workshop_.options.misbehaviour.pending[service] = 2;
  }
  workshop_.AddSegment(0x1000, Pattern(200));
  workshop_.Open();
  EXPECT_EQ(workshop_.programmer->Program(workshop_.image, {.verify = true}).verified_bytes, 200U);
}

TEST_P(EveryForm, ReportsItsPhasesAndEveryBlock) {
  workshop_.AddSegment(0x1000, Pattern(40'000));
  workshop_.Open();
  std::vector<Phase> phases;
  std::vector<EcuMemory> memory;
  std::vector<std::uint64_t> bytes;
  Duration last{};
  workshop_.programmer->OnProgress([&](const Progress& progress) {
    if (phases.empty() || phases.back() != progress.phase) {
      phases.push_back(progress.phase);
      memory.push_back(progress.memory);
    }
    if (progress.phase == Phase::kDownload) {
      EXPECT_EQ(progress.bytes_total, 40'000U);
      bytes.push_back(progress.bytes_done);
    }
    EXPECT_GE(progress.total_time, last);
    last = progress.total_time;
  });
  workshop_.programmer->Program(workshop_.image, {.verify = true});
  EXPECT_THAT(phases, ElementsAre(Phase::kIdentify, Phase::kUnlock, Phase::kErase, Phase::kDownload,
                                  Phase::kCheck, Phase::kVerify, Phase::kLogZone, Phase::kClose));
  EXPECT_THAT(memory,
              ElementsAre(EcuMemory::kUntouched, EcuMemory::kUntouched, EcuMemory::kPerhapsErased,
                          EcuMemory::kPartlyWritten, EcuMemory::kWritten, EcuMemory::kChecked,
                          EcuMemory::kChecked, EcuMemory::kChecked));
  EXPECT_EQ(bytes.size(), 1U + (40'000 + 127) / 128);
  EXPECT_EQ(bytes.front(), 0U);
  EXPECT_EQ(bytes.back(), 40'000U);
  EXPECT_TRUE(std::is_sorted(bytes.begin(), bytes.end()));
}

TEST_P(EveryForm, IsUsableAgainAfterAFailure) {
  workshop_.AddSegment(0x1000, Pattern(200));
  workshop_.options.misbehaviour.bad_checksum_at_block = 1;
  workshop_.config.repetition.most = 0;
  workshop_.Open();
  EXPECT_TRUE(workshop_.FailureOfProgram());
  EXPECT_FALSE(workshop_.FailureOfProgram(true));
  EXPECT_EQ(ecu().ReadMemory(0x1000, 200), Pattern(200));
}

TEST_P(EveryForm, CancelsBetweenTwoBlocksAndClosesTheSession) {
  workshop_.AddSegment(0x1000, Pattern(100'000));
  workshop_.Open();
  std::uint64_t done = 0;
  workshop_.programmer->OnProgress(
      [&](const Progress& progress) { done = std::max(done, progress.bytes_done); });
  workshop_.programmer->OnStopRequested([&] { return done >= 1280; });
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kDownload);
  EXPECT_EQ(failure->cause, Cause::kCancelled);
  EXPECT_EQ(failure->number, 0);
  EXPECT_EQ(done, 1280U);
  EXPECT_EQ(workshop_.ecu->blocks_written(), 10U);
  EXPECT_FALSE(workshop_.ecu->InSession(workshop_.bus->Now()));
  workshop_.platform->WaitForWorkers();
  EXPECT_EQ(workshop_.platform->RunningWorkers(), 0U);
}

TEST_P(EveryForm, CancelsBeforeItTouchesTheMemory) {
  workshop_.AddSegment(0x1000, Pattern(10));
  workshop_.Open();
  workshop_.programmer->OnStopRequested([] { return true; });
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kIdentify);
  EXPECT_EQ(failure->cause, Cause::kCancelled);
}

struct FlowControlCase {
  std::int32_t block_size;
  std::int32_t separation_time;
};

class FlowControlTest : public ::testing::TestWithParam<FlowControlCase> {};

INSTANTIATE_TEST_SUITE_P(Programmer, FlowControlTest,
                         ::testing::Values(FlowControlCase{0, 0}, FlowControlCase{0, 5},
                                           FlowControlCase{1, 20}, FlowControlCase{8, 0},
                                           FlowControlCase{8, 20}, FlowControlCase{255, 127}),
                         [](const auto& flow_control) {
                           return "BlockSize" + std::to_string(flow_control.param.block_size) +
                                  "SeparationTime" +
                                  std::to_string(flow_control.param.separation_time);
                         });

TEST_P(FlowControlTest, IsKeptTowardsTheEcu) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.options.block_size = static_cast<std::uint8_t>(GetParam().block_size);
  workshop.options.separation_time = static_cast<std::uint8_t>(GetParam().separation_time);
  workshop.config.block_size = GetParam().block_size;
  workshop.config.separation_time = GetParam().separation_time;
  workshop.config.max_block = 255;
  workshop.AddSegment(0x1000, Pattern(1000));
  workshop.Open();
  EXPECT_EQ(workshop.programmer->Program(workshop.image, {.verify = true}).verified_bytes, 1000U);
}

TEST(Programmer, TakesAnEcuWithFewerHistoryEntries) {
  for (const TransportForm form :
       {TransportForm::kPlainCan, TransportForm::kGateway, TransportForm::kKLine}) {
    Workshop workshop(form);
    workshop.options.history.resize(3);
    workshop.AddSegment(0x1000, Pattern(10));
    workshop.Open();
    const ProgramResult result = workshop.programmer->Program(workshop.image, {});
    const std::size_t entries = form == TransportForm::kKLine ? 1 : 3;
    ASSERT_EQ(result.identification.entries.size(), entries);
    EXPECT_EQ(result.identification.entries.back().history,
              SimulatedHistory()[entries - 1].history);
  }
}

TEST(Programmer, LeavesAHostThatThrowsWithAClosedSession) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(100'000));
  workshop.Open();
  workshop.programmer->OnProgress([](const Progress& progress) {
    if (progress.bytes_done > 1000) {
      throw std::runtime_error("the host has no more room");
    }
  });
  EXPECT_THROW(workshop.programmer->Program(workshop.image, {}), std::runtime_error);
  EXPECT_FALSE(workshop.ecu->InSession(workshop.bus->Now()));
  workshop.platform->WaitForWorkers();
  EXPECT_EQ(workshop.platform->RunningWorkers(), 0U);
}

TEST(Programmer, ReportsARateThatTheWireCanCarry) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(100'000));
  workshop.Open();
  const ProgramResult result = workshop.programmer->Program(workshop.image, {});
  const double seconds = std::chrono::duration<double>(result.download_time).count();
  EXPECT_LT(100'000 / seconds, 500'000.0 / 8);
  EXPECT_GT(100'000 / seconds, 1000);
}

TEST(Programmer, UsesCallbacksOnTheCallingThreadAlone) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(70'000));
  const auto caller = std::this_thread::get_id();
  workshop.config.key = [&](const Bytes& seed) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    return SimulatedKey(seed);
  };
  workshop.Open();
  workshop.programmer->OnProgress(
      [&](const Progress&) { EXPECT_EQ(std::this_thread::get_id(), caller); });
  workshop.bus->OnFrame(
      [&](const Exchange&, const FrameOnWire&) { EXPECT_EQ(std::this_thread::get_id(), caller); });
  workshop.programmer->Program(workshop.image, {});
}

}  // namespace
}  // namespace quillmark::host
