// SPDX-License-Identifier: MIT
#include "host/programmer/repetition.h"

#include <gmock/gmock.h>

#include <string>

#include "host/programmer/image_parts.h"
#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

RequestKind KindOfHex(const char* request) { return KindOf(BytesOfHex(request).value()); }

TEST(RequestKind, FollowsFromTheServiceBytes) {
  EXPECT_EQ(KindOfHex("10C0"), RequestKind::kOpen);
  EXPECT_EQ(KindOfHex("1085"), RequestKind::kOpen);
  EXPECT_EQ(KindOfHex("81"), RequestKind::kOpen);
  EXPECT_EQ(KindOfHex("2180"), RequestKind::kRead);
  EXPECT_EQ(KindOfHex("358000100030"), RequestKind::kRead);
  EXPECT_EQ(KindOfHex("3E"), RequestKind::kStay);
  EXPECT_EQ(KindOfHex("2781"), RequestKind::kSeed);
  EXPECT_EQ(KindOfHex("278211223344"), RequestKind::kKey);
  EXPECT_EQ(KindOfHex("318100F05A"), RequestKind::kStart);
  EXPECT_EQ(KindOfHex("318101F05A"), RequestKind::kStart) << "of memory 01";
  EXPECT_EQ(KindOfHex("318101"), RequestKind::kStatus);
  EXPECT_EQ(KindOfHex("310200"), RequestKind::kStart);
  EXPECT_EQ(KindOfHex("310201"), RequestKind::kStatus);
  EXPECT_EQ(KindOfHex("340000100001"), RequestKind::kBlock);
  EXPECT_EQ(KindOfHex("348300000030"), RequestKind::kLogRecord);
  EXPECT_EQ(KindOfHex("1081"), RequestKind::kClose);
  EXPECT_EQ(KindOfHex("82"), RequestKind::kClose);
  EXPECT_EQ(KindOfHex(""), RequestKind::kOther);
  EXPECT_EQ(KindOfHex("99"), RequestKind::kOther);
}

std::string NameOf(Remedy remedy) {
  switch (remedy) {
    case Remedy::kRepeat:
      return "again";
    case Remedy::kAskAgainSoon:
      return "again soon";
    case Remedy::kReadBack:
      return "read back";
    case Remedy::kPoll:
      return "poll";
    case Remedy::kNewSeed:
      return "new seed";
    case Remedy::kAccept:
      return "accept";
    default:
      return "none";
  }
}

RequestTry Refused(std::uint8_t code) {
  return {.status = RunStatus::kUnexpectedFrame, .sent_whole = true, .response_code = code};
}

/// What follows the first try of a request: after 21, 77 and 72; after silence before the request
/// was sent to its end, and afterwards.
std::vector<std::string> Remedies(RequestKind kind, int repetitions = 0,
                                  const RepetitionLimits& limits = {}) {
  std::vector<std::string> names;
  for (const RequestTry& request_try :
       {Refused(0x21), Refused(0x77), Refused(0x72), RequestTry{.status = RunStatus::kSilence},
        RequestTry{.status = RunStatus::kSilence, .sent_whole = true}}) {
    names.push_back(NameOf(RemedyFor(kind, request_try, repetitions, limits, 0s)));
  }
  return names;
}

TEST(Repetition, DependsOnWhatARequestDoes) {
  using enum RequestKind;
  for (const RequestKind kind : {kOpen, kRead, kStay, kSeed, kStatus, kClose}) {
    EXPECT_THAT(Remedies(kind), ElementsAre("again soon", "none", "none", "again", "again"));
  }
  EXPECT_THAT(Remedies(kKey), ElementsAre("again soon", "none", "none", "new seed", "new seed"));
  EXPECT_THAT(Remedies(kStart), ElementsAre("again soon", "none", "none", "poll", "poll"));
  EXPECT_THAT(Remedies(kRestart), ElementsAre("poll", "none", "none", "poll", "poll"));
  EXPECT_THAT(Remedies(kBlock), ElementsAre("again soon", "again", "none", "again", "read back"));
  EXPECT_THAT(Remedies(kLogRecord), ElementsAre("again soon", "again", "none", "accept", "accept"));
  EXPECT_THAT(Remedies(kOther), ElementsAre("none", "none", "none", "none", "none"));
}

TEST(Repetition, Ends) {
  using enum RequestKind;
  EXPECT_THAT(Remedies(kRead, 1), ElementsAre("again soon", "none", "none", "again", "again"));
  EXPECT_THAT(Remedies(kRead, 2), ElementsAre("again soon", "none", "none", "none", "none"));
  EXPECT_THAT(Remedies(kSeed, 1), ElementsAre("again soon", "none", "none", "none", "none"));
  EXPECT_THAT(Remedies(kClose, 1), ElementsAre("again soon", "none", "none", "accept", "accept"));
  EXPECT_THAT(Remedies(kBlock, 2), ElementsAre("again soon", "none", "none", "none", "read back"));
}

TEST(Repetition, CanBeTurnedOff) {
  for (int kind = 0; kind <= static_cast<int>(RequestKind::kOther); ++kind) {
    EXPECT_THAT(Remedies(static_cast<RequestKind>(kind), 0, {.most = 0}),
                ElementsAre("none", "none", "none", "none", "none"));
  }
}

TEST(Repetition, AsksABusyEcuForSoLong) {
  EXPECT_EQ(RemedyFor(RequestKind::kRead, Refused(0x21), 0, {}, 24'999ms), Remedy::kAskAgainSoon);
  EXPECT_EQ(RemedyFor(RequestKind::kRead, Refused(0x21), 0, {}, 25s), Remedy::kNone);
}

/// What follows an unexpected, but positive answer.
Remedy RemedyForAnswer(const char* request, const char* answer) {
  const Bytes sent = BytesOfHex(request).value();
  const Bytes received = BytesOfHex(answer).value();
  return RemedyFor(KindOf(sent),
                   {.status = RunStatus::kUnexpectedFrame,
                    .request = sent,
                    .sent_whole = true,
                    .answer = received},
                   0, {}, 0s);
}

TEST(Repetition, TakesAnAnswerAboutSomethingElseForNone) {
  EXPECT_EQ(RemedyForAnswer("1085", "50C0"), Remedy::kRepeat);
  EXPECT_EQ(RemedyForAnswer("21F1", "61F0"), Remedy::kRepeat);
  EXPECT_EQ(RemedyForAnswer("358000100030", "7500001030"), Remedy::kRepeat);
  EXPECT_EQ(RemedyForAnswer("2781", "6782"), Remedy::kRepeat);
  EXPECT_EQ(RemedyForAnswer("278211223344", "678100000000"), Remedy::kNewSeed);
  EXPECT_EQ(RemedyForAnswer("310200", "718102"), Remedy::kPoll) << "the erase is finished";
  EXPECT_EQ(RemedyForAnswer("310201", "718102"), Remedy::kRepeat);
}

TEST(Repetition, LeavesTheStateOfARoutineToItsPoll) {
  EXPECT_EQ(RemedyForAnswer("310201", "710201"), Remedy::kNone) << "it runs";
  EXPECT_EQ(RemedyForAnswer("310200", "710203"), Remedy::kNone) << "it has failed";
}

TEST(Repetition, AsksForTheSeedAfterAKeyThatHadNone) {
  EXPECT_EQ(RemedyFor(RequestKind::kKey, Refused(0x22), 0, {}, 0s), Remedy::kNewSeed);
  for (const std::uint8_t code : Bytes{0x33, 0x35, 0x36, 0x37}) {
    EXPECT_EQ(RemedyFor(RequestKind::kKey, Refused(code), 0, {}, 0s), Remedy::kNone);
  }
}

/// Flashes while something goes wrong on the wire.
class RepetitionInEveryForm : public ::testing::TestWithParam<TransportForm> {
 protected:
  RepetitionInEveryForm() {
    workshop_.options.write_once = true;
    workshop_.options.history.resize(2);
    workshop_.AddSegment(0x1000, Pattern(100));
    workshop_.config.max_block = 50;
  }
  ~RepetitionInEveryForm() override { workshop_.platform->WaitForWorkers(); }

  /// Loses the frame whose text holds `part`, so many times.
  void Lose(const std::string& part, int times = 1) {
    workshop_.bus->InjectFaults([part, times](const FrameOnWire& frame) mutable {
      const bool loses = HexOf(frame.data).find(part) != std::string::npos && times-- > 0;
      return loses ? std::vector<FrameOnWire>{} : std::vector{frame};
    });
  }

  /// Loses so many requests to read memory.
  void LoseReads(int times) { Lose("358000", times); }

  /// Whether a flash succeeds, with the image in the memory.
  ::testing::AssertionResult Succeeds() {
    try {
      result_ = workshop_.programmer->Program(workshop_.image, {.verify = true});
    } catch (const ProgrammingError& error) {
      return ::testing::AssertionFailure() << error.what();
    }
    if (workshop_.ecu->ReadMemory(0x1000, 100) != Pattern(100)) {
      return ::testing::AssertionFailure() << "a false success";
    }
    return ::testing::AssertionSuccess();
  }

  Workshop workshop_{GetParam()};
  ProgramResult result_;
};

INSTANTIATE_TEST_SUITE_P(Programmer, RepetitionInEveryForm,
                         ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine),
                         [](const auto& form) { return NameOfForm(form.param); });

/// As many as there were before anything was repeated.
int FramesOfAFlash(TransportForm form) {
  switch (form) {
    case TransportForm::kPlainCan:
      return 164;
    case TransportForm::kGateway:
      return 168;
    default:
      return 46;
  }
}

TEST_P(RepetitionInEveryForm, NoFrameIsSentAgainWithoutAFault) {
  workshop_.Open();
  int frames = 0;
  workshop_.bus->OnFrame([&](const Exchange&, const FrameOnWire&) { ++frames; });
  EXPECT_TRUE(Succeeds());
  EXPECT_EQ(frames, FramesOfAFlash(GetParam()));
  EXPECT_EQ(result_.repeated, 0U);
  EXPECT_EQ(result_.passed_over, 0U);
}

TEST_P(RepetitionInEveryForm, NoLostFrameEndsAFlash) {
  int frames = 1;
  for (int lost = 0; lost < frames; ++lost) {
    Workshop workshop(GetParam());
    workshop.options.write_once = true;
    workshop.options.history.resize(2);
    workshop.AddSegment(0x1000, Pattern(20));
    workshop.Open();
    int frame_number = 0;
    workshop.bus->InjectFaults([&](const FrameOnWire& frame) {
      return frame_number++ == lost ? std::vector<FrameOnWire>{} : std::vector{frame};
    });
    EXPECT_FALSE(workshop.FailureOfProgram(true)) << lost << ": " << workshop.message;
    EXPECT_EQ(workshop.ecu->ReadMemory(0x1000, 20), Pattern(20)) << lost;
    frames = frame_number;
    workshop.platform->WaitForWorkers();
  }
  EXPECT_GT(frames, 20);
}

TEST_P(RepetitionInEveryForm, AnUnansweredBlockIsReadBack) {
  workshop_.Open();
  Lose("7402");
  EXPECT_TRUE(Succeeds());
  EXPECT_EQ(result_.repeated, 0U) << "it was written";
  EXPECT_EQ(result_.sent_bytes, 100U);
}

TEST_P(RepetitionInEveryForm, ABlockThatIsNeitherWrittenNorErasedEndsTheFlash) {
  workshop_.options.misbehaviour.bad_cells = {0x1003};
  workshop_.Open();
  Lose("7402");
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kDownload);
  EXPECT_EQ(failure->cause, Cause::kSilence);
}

TEST_P(RepetitionInEveryForm, ABlockWithoutAnswerGoesOutAgainWhereItCannotBeRead) {
  workshop_.options.misbehaviour.refused[0x35] = 0x31;
  workshop_.Open();
  Lose("7402");
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure) << "it was written before";
  EXPECT_EQ(failure->response_code, 0x72);
}

TEST_P(RepetitionInEveryForm, ALogRecordIsNeverSentTwice) {
  std::vector<std::string> warnings;
  workshop_.Open();
  workshop_.programmer->OnWarning([&](const std::string& text) { warnings.push_back(text); });
  int answers = 0;
  workshop_.bus->InjectFaults([&](const FrameOnWire& frame) {
    const bool loses = HexOf(frame.data).find("7402") != std::string::npos && ++answers == 3;
    return loses ? std::vector<FrameOnWire>{} : std::vector{frame};
  });
  EXPECT_TRUE(Succeeds());
  EXPECT_TRUE(result_.log_record_is_unanswered);
  EXPECT_EQ(workshop_.ecu->history().size(), 3U) << "one more than before";
  EXPECT_THAT(warnings, ElementsAre(::testing::HasSubstr("is not sent twice")));
}

TEST_P(RepetitionInEveryForm, ASilentEndOfASessionCountsAsOne) {
  std::vector<std::string> warnings;
  workshop_.Open();
  workshop_.programmer->OnWarning([&](const std::string& text) { warnings.push_back(text); });
  workshop_.programmer->OnProgress([&](const Progress& progress) {
    if (progress.phase == Phase::kClose) {
      workshop_.bus->InjectFaults([](const FrameOnWire&) { return std::vector<FrameOnWire>{}; });
    }
  });
  EXPECT_TRUE(Succeeds());
  EXPECT_THAT(warnings, ElementsAre(::testing::HasSubstr("counts as closed")));
}

TEST_P(RepetitionInEveryForm, ALostKeyGetsANewSeed) {
  workshop_.Open();
  Lose("2782");
  EXPECT_TRUE(Succeeds());
}

TEST_P(RepetitionInEveryForm, ALostAnswerToTheKeyIsMadeUpForByASeedOfZeros) {
  int keys = 0;
  workshop_.config.key = [&](const Bytes& seed) {
    ++keys;
    return SimulatedKey(seed);
  };
  workshop_.Open();
  Lose("6782");
  EXPECT_TRUE(Succeeds());
  EXPECT_EQ(keys, GetParam() == TransportForm::kGateway ? 2 : 1)
      << "the gateway's request for a seed starts communication, which locks";
}

TEST_P(RepetitionInEveryForm, ASilentBackupBeginsAnewFromTheFirstRequest) {
  int keys = 0;
  int identified = 0;
  workshop_.config.key = [&](const Bytes& seed) {
    ++keys;
    return SimulatedKey(seed);
  };
  workshop_.Open();
  workshop_.programmer->OnIdentified([&](const Identification&) { ++identified; });
  LoseReads(3);
  int backups = 0;
  EXPECT_FALSE(workshop_.FailureOf([&] {
    workshop_.programmer->Program(workshop_.image,
                                  {.backup = [&](const MemoryImage&) { ++backups; }});
  })) << workshop_.message;
  EXPECT_EQ(keys, 2);
  EXPECT_EQ(identified, 1);
  EXPECT_EQ(backups, 1);
}

TEST_P(RepetitionInEveryForm, ABackupThatStaysSilentEndsTheFlash) {
  workshop_.Open();
  LoseReads(1000);
  const auto failure = workshop_.FailureOf([&] {
    workshop_.programmer->Program(workshop_.image, {.backup = [](const MemoryImage&) {}});
  });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kBackup);
  EXPECT_EQ(failure->cause, Cause::kSilence);
  EXPECT_EQ(failure->memory, EcuMemory::kUntouched);
}

TEST_P(RepetitionInEveryForm, NoThirdKeyIsSentForABackupThatIsSilent) {
  int keys = 0;
  workshop_.config.key = [&](const Bytes& seed) {
    ++keys;
    return SimulatedKey(seed);
  };
  workshop_.Open();
  int lost_keys = 1;
  int lost_reads = 3;
  workshop_.bus->InjectFaults([&](const FrameOnWire& frame) {
    const std::string text = HexOf(frame.data);
    const bool loses = (text.find("2782") != std::string::npos && lost_keys-- > 0) ||
                       (text.find("358000") != std::string::npos && lost_reads-- > 0);
    return loses ? std::vector<FrameOnWire>{} : std::vector{frame};
  });
  EXPECT_TRUE(workshop_.FailureOf([&] {
    workshop_.programmer->Program(workshop_.image, {.backup = [](const MemoryImage&) {}});
  }));
  EXPECT_EQ(keys, 2);
}

TEST_P(RepetitionInEveryForm, NoThirdKeyIsSent) {
  int keys = 0;
  workshop_.config.key = [&](const Bytes& seed) {
    ++keys;
    return SimulatedKey(seed);
  };
  workshop_.Open();
  Lose("2782", 10);
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kUnlock);
  EXPECT_EQ(keys, 2);
}

TEST_P(RepetitionInEveryForm, NoKeyFollowsAWrongOne) {
  int keys = 0;
  workshop_.config.key = [&](const Bytes&) {
    ++keys;
    return Bytes(4, 0);
  };
  workshop_.Open();
  EXPECT_EQ(workshop_.FailureOfProgram()->response_code, 0x35);
  EXPECT_EQ(keys, 1);
}

TEST_P(RepetitionInEveryForm, AnEraseThatWasHeardIsNotStartedTwice) {
  workshop_.options.timing.erase_time = 3s;
  workshop_.Open();
  Lose("718101");
  EXPECT_TRUE(Succeeds());
  EXPECT_EQ(workshop_.ecu->memory_changes(), 3U) << "an erase and two blocks";
}

TEST_P(RepetitionInEveryForm, AnEraseThatWasNotHeardIsStartedAgain) {
  workshop_.Open();
  Lose("318100F0");
  EXPECT_TRUE(Succeeds());
  EXPECT_EQ(result_.repeated, 1U);
}

TEST_P(RepetitionInEveryForm, ABusyEcuIsAskedAgain) {
  for (const std::uint8_t service : Bytes{0x10, 0x81, 0x21, 0x27, 0x31, 0x34, 0x35, 0x82}) {
    Workshop workshop(GetParam());
    workshop.AddSegment(0x1000, Pattern(100));
    workshop.options.misbehaviour.busy[service] = 3;
    workshop.Open();
    EXPECT_FALSE(workshop.FailureOfProgram(true)) << int{service} << workshop.message;
    workshop.platform->WaitForWorkers();
  }
}

TEST_P(RepetitionInEveryForm, AnEcuThatStaysBusyIsNotAskedForEver) {
  workshop_.options.misbehaviour.refused[0x34] = 0x21;
  workshop_.Open();
  const Duration start = workshop_.bus->Now();
  const auto failure = workshop_.FailureOfProgram();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->response_code, 0x21);
  EXPECT_LT(workshop_.bus->Now() - start, 40s);
}

TEST_P(RepetitionInEveryForm, ABlockWithAWrongChecksumIsSentAgain) {
  workshop_.options.misbehaviour.bad_checksum_at_block = 2;
  workshop_.Open();
  EXPECT_TRUE(Succeeds());
  EXPECT_EQ(result_.repeated, 1U);
}

TEST_P(RepetitionInEveryForm, ABlockThatIsReadWrongIsReadAgain) {
  workshop_.Open();
  int answers = 0;
  workshop_.bus->InjectFaults([&](FrameOnWire frame) {
    // A consecutive frame, or a piece, of the first block that is read back.
    const bool is_reading = workshop_.ecu->blocks_written() == 2;
    if (GetParam() == TransportForm::kPlainCan && is_reading && frame.data[0] == 0x21 &&
        frame.direction == Direction::kToTester && ++answers == 1) {
      frame.data[3] ^= 0x10;
    }
    return std::vector{frame};
  });
  EXPECT_TRUE(Succeeds());
}

TEST_P(RepetitionInEveryForm, TriesAreTold) {
  std::string tries;
  workshop_.Open();
  workshop_.programmer->OnDocument([&](const DocumentRun& run) {
    const std::string xml = run.outcome != nullptr ? run.document.xml() : "";
    const std::size_t at = xml.find("tries=");
    tries += at == std::string::npos ? "" : xml.substr(at, xml.find('>', at) - at);
  });
  std::uint32_t repeated = 0;
  workshop_.programmer->OnProgress([&](const Progress& progress) { repeated = progress.repeated; });
  Lose("61F0");
  EXPECT_TRUE(Succeeds());
  EXPECT_EQ(tries, "tries=\"silence, ok\"");
  EXPECT_EQ(repeated, 1U);
}

/// An ECU whose blocks have another checksum than the platform's calculator computes.
TEST(Upload, BelievesABlockThatIsReadTwiceAlike) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(96));
  workshop.Open();
  std::vector<std::string> warnings;
  workshop.programmer->OnWarning([&](const std::string& text) { warnings.push_back(text); });
  workshop.bus->InjectFaults([](FrameOnWire frame) {
    // The last frame of a reply of 56 bytes has one byte, the second of the checksum.
    if (frame.direction == Direction::kToTester && frame.data[0] == 0x28) {
      frame.data[1] ^= 0xFF;
    }
    return std::vector{frame};
  });
  EXPECT_FALSE(workshop.FailureOfProgram(true)) << workshop.message;
  EXPECT_THAT(warnings, ElementsAre("the ECU's checksum of 2 blocks is not the one expected; each "
                                    "was read twice and found alike"));
}

TEST(Upload, FailsWhereNoTwoReadingsAreAlike) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(96));
  workshop.Open();
  std::uint8_t noise = 0;
  workshop.bus->InjectFaults([&](FrameOnWire frame) {
    if (frame.direction == Direction::kToTester && frame.data[0] == 0x22) {
      frame.data[2] ^= ++noise;
    }
    return std::vector{frame};
  });
  const auto failure = workshop.FailureOf([&] { workshop.programmer->Verify(workshop.image); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->phase, Phase::kVerify);
  EXPECT_EQ(failure->cause, Cause::kUnexpectedReply);
}

TEST(FlowControl, IsTakenOverOnce) {
  for (const FlowControl asked : {FlowControl{8, 5}, FlowControl{0, 0}, FlowControl{2, 0xF3}}) {
    Workshop workshop(TransportForm::kPlainCan);
    workshop.AddSegment(0x1000, Pattern(500));
    workshop.options.block_size = asked.block_size;
    workshop.options.separation_time = asked.separation_time;
    workshop.Open();
    EXPECT_FALSE(workshop.FailureOfProgram(true)) << workshop.message;
    EXPECT_EQ(workshop.ecu->ReadMemory(0x1000, 500), Pattern(500));
    workshop.platform->WaitForWorkers();
  }
}

TEST(FlowControl, OfAnotherIsNotTakenOver) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(500));
  workshop.options.block_size = 8;
  workshop.config.block_size = 8;
  workshop.Open();
  bool has_strayed = false;
  workshop.bus->InjectFaults([&](const FrameOnWire& frame) {
    std::vector frames{frame};
    if (frame.data[0] == 0x30 && frame.direction == Direction::kToTester && !has_strayed) {
      has_strayed = true;
      frames.insert(frames.begin(), {frame.direction, frame.at, Bytes{0x30, 1, 0}});
    }
    return frames;
  });
  EXPECT_FALSE(workshop.FailureOfProgram(true)) << workshop.message;
  EXPECT_TRUE(has_strayed);
}

TEST(FlowControl, IsTakenOverByTheFollowingPartsOfAnImage) {
  Workshop workshop(TransportForm::kPlainCan);
  for (std::size_t i = 0; i <= kSegmentsAtOnce; ++i) {
    workshop.AddSegment(static_cast<std::int32_t>(2 * i), {0x55});
  }
  workshop.options.block_size = 0;
  workshop.Open();
  EXPECT_FALSE(workshop.FailureOfProgram()) << workshop.message;
  EXPECT_EQ(workshop.ecu->ReadMemory(2 * kSegmentsAtOnce, 1), Bytes{0x55});
  workshop.platform->WaitForWorkers();
}

TEST(FlowControl, ThatIsFixedSaysWhatTheEcuAsksFor) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.AddSegment(0x1000, Pattern(500));
  workshop.options.block_size = 8;
  workshop.options.separation_time = 5;
  workshop.config.adapts_flow_control = false;
  workshop.Open();
  const auto failure = workshop.FailureOfProgram(true);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->text,
            "the ECU asks for block size 8, separation time 5 ms: --flow-control 8 5");
}

TEST(History, ThatABusyEcuCutsShortIsSaidToBe) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.config.repetition.most = 0;
  workshop.Open();
  std::vector<std::string> warnings;
  workshop.programmer->OnWarning([&](const std::string& text) { warnings.push_back(text); });
  workshop.bus->InjectFaults([](FrameOnWire frame) {
    if (HexOf(frame.data).starts_with("101A61FA")) {
      frame.data = BytesOfHex("037F2121AAAAAAAA").value();
    }
    return std::vector{frame};
  });
  const Identification identification = workshop.programmer->Identify();
  EXPECT_EQ(identification.entries.size(), 3U);
  ASSERT_TRUE(identification.refused);
  EXPECT_EQ(identification.refused->record, 0xFA);
  EXPECT_THAT(warnings, ElementsAre("the history is not complete: the ECU refused record FA with "
                                    "21, busy, repeat request"));
}

TEST(History, ThatEndsWithTheRecordsOfTheEcuIsComplete) {
  Workshop workshop(TransportForm::kPlainCan);
  workshop.options.history.resize(3);
  workshop.Open();
  workshop.programmer->OnWarning([](const std::string& text) { ADD_FAILURE() << text; });
  EXPECT_TRUE(workshop.programmer->Identify().refused);
}

}  // namespace
}  // namespace quillmark::host
