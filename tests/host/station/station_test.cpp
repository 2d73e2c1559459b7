// SPDX-License-Identifier: MIT
// What the page may ask of bays, and what not.
#include "host/station/station.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "quillmark/host/files.h"
#include "quillmark/host/records.h"
#include "tests/host/station/http_client.h"
#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kOneByte = "/api/bays/1/image?name=a.bin&base=0x8000";

class StationTest : public ::testing::Test {
 protected:
  StationTest() {
    settings.records = folder.Path("records.sqlite");
    settings.artifacts = folder.Path("runs");
    Start();
  }

  void Start() {
    FlashSettings flash;
    flash.recording.records.file = settings.records;
    flash.flash.yes = true;  // which a station does not heed
    station.reset();
    station = std::make_unique<Station>(settings,
                                        std::vector<StationBay>{{"left", flash}, {"right", flash}});
    client = std::make_unique<HttpClient>(station->url());
  }

  [[nodiscard]] Json Bay(std::size_t number) const {
    const std::string answer = client->Get("/api/state");
    return Json::parse(answer.substr(answer.find("\r\n\r\n")))["bays"][number];
  }

  /// Waits until a bay is as wanted, for as long as it takes.
  template <typename Wanted>
  [[nodiscard]] Json Await(std::size_t number, Wanted wanted) const {
    for (;;) {
      const Json bay = Bay(number);
      if (wanted(bay)) {
        return bay;
      }
      std::this_thread::sleep_for(2ms);
    }
  }

  [[nodiscard]] Json AwaitQuestion(std::size_t number) const {
    return Await(number, [](const Json& bay) { return !bay["question"].is_null(); });
  }
  [[nodiscard]] Json AwaitEnd(std::size_t number) const {
    return Await(number, [](const Json& bay) { return bay["work"] == "nothing"; });
  }

  /// Gives bay 1 an image and begins to flash it.
  void Begin() const {
    ASSERT_THAT(client->Post(kOneByte, "abc"), StartsWith("HTTP/1.1 200"));
    ASSERT_THAT(client->Post(fmt::format("/api/bays/1/flash?image={}",
                                         Bay(1)["image"]["number"].get<int>())),
                StartsWith("HTTP/1.1 200"));
  }

  testing::TemporaryFolder folder;
  Station::Settings settings;
  std::unique_ptr<Station> station;
  std::unique_ptr<HttpClient> client;
};

TEST_F(StationTest, ServesItsPageToAnybodyAndItsStateToItsOwner) {
  EXPECT_THAT(client->GetAsStranger("/"),
              AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("text/html")));
  EXPECT_THAT(client->GetAsStranger("/main.js"), HasSubstr("text/javascript"));
  EXPECT_THAT(client->GetAsStranger("/report/memory_map.js"), HasSubstr("class MemoryMap"));
  EXPECT_THAT(client->GetAsStranger("/api/state"), StartsWith("HTTP/1.1 401"));
  EXPECT_EQ(Bay(1)["name"], "right");
}

TEST_F(StationTest, FlashesAnImageAfterAYes) {
  Begin();
  const Json asking = AwaitQuestion(1);
  EXPECT_EQ(asking["question"]["ecu"], "SIMULATED ECU 001 REV A");
  EXPECT_EQ(asking["image"]["name"], "a.bin");
  EXPECT_EQ(asking["image"]["image_bytes"], 3);
  EXPECT_EQ(station->busy(), 1U);
  EXPECT_THAT(client->Post("/api/bays/1/answer?question=1&answer=yes"), StartsWith("HTTP/1.1 200"));
  const Json ended = AwaitEnd(1);
  EXPECT_EQ(ended["outcome"]["state"], "done");
  EXPECT_THAT(client->Get("/api/bays/1/report"),
              AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("<!doctype html>")));
  EXPECT_THAT(client->Get("/api/bays/1/log"), HasSubstr("about to  erase memory"));
  EXPECT_THAT(client->Get("/api/runs"), AllOf(HasSubstr(R"("bay":"right")"), HasSubstr("a.bin"),
                                              HasSubstr(R"("outcome":"done")")));
  EXPECT_EQ(Bay(0)["outcome"], Json());
}

TEST_F(StationTest, ErasesNothingAfterANoOrAStop) {
  Begin();
  (void)AwaitQuestion(1);
  (void)client->Post("/api/bays/1/answer?question=1&answer=no");
  EXPECT_EQ(AwaitEnd(1)["outcome"]["state"], "cancelled");
  (void)client->Post("/api/bays/1/flash?image=1");
  (void)AwaitQuestion(1);
  (void)client->Post("/api/bays/1/stop");
  EXPECT_EQ(AwaitEnd(1)["outcome"]["state"], "cancelled");
  EXPECT_EQ(station->memory(), EcuMemory::kUntouched);
}

/// Of a window that shows the question of an earlier flash.
TEST_F(StationTest, AnAnswerIsForItsOwnQuestion) {
  EXPECT_THAT(client->Post("/api/bays/1/answer?question=0&answer=yes"), StartsWith("HTTP/1.1 409"));
  Begin();
  (void)AwaitQuestion(1);
  for (const char* const number : {"", "0", "2"}) {
    EXPECT_THAT(client->Post(fmt::format("/api/bays/1/answer?question={}&answer=yes", number)),
                StartsWith("HTTP/1.1 409"));
  }
  for (const char* const answer : {"", "&answer=", "&answer=Yes", "&answer=1"}) {
    EXPECT_THAT(client->Post(fmt::format("/api/bays/1/answer?question=1{}", answer)),
                StartsWith("HTTP/1.1 400"));
  }
  EXPECT_FALSE(Bay(1)["question"].is_null());
  (void)client->Post("/api/bays/1/stop");
}

TEST_F(StationTest, IdentifiesAnEcu) {
  EXPECT_THAT(client->Post("/api/bays/0/identify"), StartsWith("HTTP/1.1 200"));
  EXPECT_EQ(AwaitEnd(0)["ecu"], "SIMULATED ECU 001 REV A");
}

TEST_F(StationTest, ABayAtWorkTakesNothingElse) {
  Begin();
  (void)AwaitQuestion(1);
  for (const char* const what :
       {"identify", "flash?image=1", "unload", "image?name=b.bin&base=0"}) {
    EXPECT_THAT(client->Post(fmt::format("/api/bays/1/{}", what)),
                AllOf(StartsWith("HTTP/1.1 409"), HasSubstr("the bay is at work")))
        << what;
  }
  EXPECT_EQ(Bay(1)["image"]["name"], "a.bin");
  EXPECT_THAT(client->Post("/api/bays/0/identify"), StartsWith("HTTP/1.1 200"));
}

TEST_F(StationTest, KnowsItsBays) {
  for (const char* const number : {"2", "-1", "1x", "", "18446744073709551616", "..", "%31"}) {
    EXPECT_THAT(client->Post(fmt::format("/api/bays/{}/identify", number)),
                StartsWith("HTTP/1.1 404"))
        << number;
  }
}

TEST_F(StationTest, FlashesOnlyTheImageThatTheUserHasSeen) {
  EXPECT_THAT(client->Post("/api/bays/1/flash?image=1"), StartsWith("HTTP/1.1 409"));
  (void)client->Post(kOneByte, "abc");
  (void)client->Post(kOneByte, "def");
  EXPECT_THAT(client->Post("/api/bays/1/flash?image=1"), StartsWith("HTTP/1.1 409"));
  EXPECT_THAT(client->Post("/api/bays/1/flash"), StartsWith("HTTP/1.1 409"));
  (void)client->Post("/api/bays/1/unload");
  EXPECT_THAT(client->Post("/api/bays/1/flash?image=2"), StartsWith("HTTP/1.1 409"));
  EXPECT_EQ(Bay(1)["work"], "nothing");
}

TEST_F(StationTest, SaysWhatIsWrongWithAFileAndKeepsTheLastOne) {
  (void)client->Post(kOneByte, "abc");
  EXPECT_THAT(client->Post("/api/bays/1/image?name=x.bin", "abc"), StartsWith("HTTP/1.1 422"));
  EXPECT_THAT(client->Post("/api/bays/1/image?name=x.hex", ":0\n"),
              AllOf(StartsWith("HTTP/1.1 400"), HasSubstr("x.hex")));
  EXPECT_THAT(client->Post("/api/bays/1/image?name=x.bin&base=0xFFFFFF", "abc"),
              StartsWith("HTTP/1.1 400"));
  for (const char* const base : {"x", "-1", "0x100000000", "1%20"}) {
    EXPECT_THAT(client->Post(fmt::format("/api/bays/1/image?name=x.bin&base={}", base), "abc"),
                StartsWith("HTTP/1.1 400"))
        << base;
  }
  EXPECT_EQ(Bay(1)["image"]["name"], "a.bin");
}

TEST_F(StationTest, TheNameOfAFileIsNoPath) {
  for (const char* const name : {"..%2F..%2Fa.bin", "C%3A%5Cx%5Ca.bin", "%2Fetc%2Fa.bin"}) {
    EXPECT_THAT(client->Post(fmt::format("/api/bays/1/image?name={}&base=0", name), "abc"),
                HasSubstr(R"("name":"a.bin")"));
  }
}

TEST_F(StationTest, ShowsWhatOfAnImageIsSent) {
  (void)client->Post("/api/bays/1/image?name=a.bin&base=0x8000",
                     std::string(64, 'x') + std::string(1024, '\xff') + std::string(64, 'x'));
  EXPECT_THAT(client->Get("/api/bays/1/memory"),
              HasSubstr(R"([[32768,128,"planned"],[32896,960,"fill"],[33856,64,"planned"]])"));
}

TEST_F(StationTest, TellsWhatChanges) {
  const RawClient stream = client->Events();
  EXPECT_THAT(stream.Read(R"("name":"right")"), HasSubstr(R"("bay":0)"));
  (void)client->Post("/api/bays/0/identify");
  EXPECT_THAT(stream.Read(R"("ecu":"SIMULATED ECU 001 REV A")"), HasSubstr(R"("bay":0)"));
}

TEST_F(StationTest, BeginsNothingOnceItEnds) {
  Begin();
  (void)AwaitQuestion(1);
  station->Stop();
  EXPECT_EQ(AwaitEnd(1)["outcome"]["state"], "cancelled");
  EXPECT_THAT(client->Post("/api/bays/0/identify"), StartsWith("HTTP/1.1 409"));
  EXPECT_EQ(station->busy(), 0U);
}

TEST_F(StationTest, EndsWhileABayIsAtWork) {
  Begin();
  (void)AwaitQuestion(1);
  const RawClient stream = client->Events();
  station.reset();
}

class RecordsOfStationTest : public StationTest {
 protected:
  RunRecord Write(const char* ecu, OutcomeState outcome) {
    RunRecord run;
    run.id = NewRunId();
    run.started = std::chrono::system_clock::now();
    run.command = "flash";
    run.ecu = ecu;
    run.outcome = outcome;
    RunRecords(settings.records, RunRecords::Use::kWrite).Write(run);
    return run;
  }
};

TEST_F(RecordsOfStationTest, FindsRuns) {
  EXPECT_THAT(client->Get("/api/runs"), HasSubstr(R"({"runs":[]})"));
  (void)Write("ECU A", OutcomeState::kDone);
  (void)Write("ECU B", OutcomeState::kFailed);
  EXPECT_THAT(client->Get("/api/runs"), AllOf(HasSubstr("ECU A"), HasSubstr("ECU B")));
  EXPECT_THAT(client->Get("/api/runs?search=ecu%20a"),
              AllOf(HasSubstr("ECU A"), Not(HasSubstr("ECU B"))));
  EXPECT_THAT(client->Get("/api/runs?outcome=failed"),
              AllOf(HasSubstr("ECU B"), Not(HasSubstr("ECU A"))));
  EXPECT_THAT(client->Get("/api/runs?last=1"), Not(HasSubstr("ECU A")));
  EXPECT_THAT(client->Get("/api/runs?until=1000"), HasSubstr(R"({"runs":[]})"));
  EXPECT_THAT(client->Get("/api/runs?since=4102444800000"), HasSubstr(R"({"runs":[]})"));
  for (const char* const filter : {"outcome=good", "last=1001", "since=x", "until=-1"}) {
    EXPECT_THAT(client->Get(fmt::format("/api/runs?{}", filter)), StartsWith("HTTP/1.1 400"));
  }
}

TEST_F(RecordsOfStationTest, FindsItsOwnRunsWhileTheServerIsAway) {
  constexpr auto kNoRuns = R"("runs":[])";
  EXPECT_THAT(client->Get("/api/stations/runs"),
              AllOf(HasSubstr(kNoRuns), HasSubstr(R"("problem":"")")));
  settings.server = "postgresql:///plant?host=" + folder.Path("none");
  Start();
  (void)Write("ECU A", OutcomeState::kDone);
  // Also where it is not asked again so soon.
  for (int time = 0; time < 2; ++time) {
    EXPECT_THAT(
        client->Get("/api/stations/runs"),
        AllOf(StartsWith("HTTP/1.1 200"), HasSubstr(kNoRuns), Not(HasSubstr(R"("problem":"")"))));
  }
  EXPECT_THAT(client->Get("/api/runs"), HasSubstr("ECU A"));
  EXPECT_THAT(client->Get("/api/runs?station=elsewhere"), HasSubstr(kNoRuns));
  EXPECT_THAT(client->Get("/api/state"), HasSubstr(R"("has_server":true)"));
}

TEST_F(RecordsOfStationTest, ShowsTheReportOfARunAndOfNothingElse) {
  RunRecord run = Write("ECU A", OutcomeState::kDone);
  EXPECT_THAT(client->Get("/api/runs/" + run.id + "/report"), StartsWith("HTTP/1.1 404"));
  run.artifacts = folder.Path("run");
  std::filesystem::create_directories(run.artifacts);
  WriteFile(run.artifacts / artifact::kPlan, R"({"command":"flash"})");
  RunRecords(settings.records, RunRecords::Use::kWrite).Write(run);
  EXPECT_THAT(client->Get("/api/runs/" + run.id + "/report"),
              AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("text/html"),
                    HasSubstr("Content-Security-Policy: sandbox allow-scripts; default-src 'none'"),
                    HasSubstr("<!doctype html>")));
  EXPECT_THAT(client->GetAsStranger("/api/runs/" + run.id + "/report"), StartsWith("HTTP/1.1 401"));
  for (const std::string& id : {std::string("ECU"), run.id.substr(1), std::string(),
                                folder.Path(""), std::string("..%2f..%2frun"), NewRunId()}) {
    EXPECT_THAT(client->Get("/api/runs/" + id + "/report"), StartsWith("HTTP/1.1 404")) << id;
  }
}

}  // namespace
}  // namespace quillmark::host
