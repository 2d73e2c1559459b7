// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "host/report/page_data.h"
#include "quillmark/host/report.h"

namespace quillmark::host::testing {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

Artifacts SeedRefused() {
  const Exchange exchange{TransportForm::kPlainCan, 0x73A, 0x632};
  Artifacts artifacts;
  artifacts.plan.command = PlannedCommand::kRead;
  artifacts.plan.form = TransportForm::kPlainCan;
  artifacts.plan.bit_rate = 500'000;
  artifacts.plan.ranges = {{4096, 16}};
  artifacts.result = {.state = OutcomeState::kFailed,
                      .message = "unlock: </script><b a='b' c=\"d\">no",
                      .phases = {{"unlock", Duration(0), std::chrono::milliseconds(500)}}};
  artifacts.trace = {exchange,
                     {{.direction = Direction::kToEcu,
                       .exchange = exchange,
                       .data = {0x02, 0x27, 0x81, 0, 0, 0, 0, 0}},
                      {.at = Duration(2270),
                       .direction = Direction::kToTester,
                       .exchange = exchange,
                       .data = {0x03, 0x7F, 0x27, 0x33, 0, 0, 0, 0}}}};
  return artifacts;
}

TEST(PageData, HoldsExchangesMessagesAndFramesInColumns) {
  const Json data = PageDataOf(SeedRefused()).columns;
  EXPECT_EQ(data["names"], Json::parse(R"(["security access"])"));
  EXPECT_EQ(data["texts"], Json::parse(R"(["security access: ask for the seed",
                                           "security access refused: 33, security access denied"])"));
  EXPECT_EQ(data["messages"], Json::parse(R"({"text":[0,1],"toEcu":[1,0]})"));
  EXPECT_EQ(data["exchanges"],
            Json::parse(R"({"messages":[2],"outcome":[1],"pending":[0],"repeat":[0],"name":[0],
                            "address":[0],"size":[0]})"));
  EXPECT_EQ(data["frames"], 2);
  EXPECT_EQ(data["memory"], Json::parse(R"([[4096,16,"planned"]])"));
}

TEST(PageData, NamesTheAdapterWithWhatItSaysOfItself) {
  Artifacts artifacts = SeedRefused();
  artifacts.plan.version = "1.0";
  artifacts.plan.bus = "j2534:bench";
  const auto facts = [&] { return PageDataOf(artifacts).columns["facts"]; };
  EXPECT_THAT(facts(), Contains(Json{"Adapter", "j2534:bench"}));
  artifacts.result.adapter = {.firmware = "2.1", .library = "<b>", .api = "04.04"};
  artifacts.result.battery_millivolts = 12'600;
  EXPECT_THAT(facts(),
              AllOf(Contains(Json{"Adapter", "j2534:bench, firmware 2.1, library <b>, API 04.04"}),
                    Contains(Json{"Battery", "12.6 V before the erase"}),
                    Contains(Json{"Tool", "quillmark 1.0"})));
}

TEST(PageData, PacksTheFramesAColumnAfterTheOther) {
  EXPECT_EQ(
      PageDataOf(SeedRefused()).frames,
      (Bytes{0,    0xDE, 0x11,                // times: 2270 = 0x11 * 0x80 + 0x5E
             0,    2,                         // messages
             1,    0,                         // kinds: single frames, the first to the ECU
             1,    1,    2,    3,    8,   8,  // places, payload sizes, sizes
             0x02, 0,    0,    0,    0,   0, 0x03, 0, 0, 0, 0,  // what frames the service bytes
             0x27, 0x81, 0x7F, 0x27, 0x33}));
}

TEST(PageData, AddsUpTheTimeThatFramesTakeOnTheWire) {
  // Two frames of at most 135 bits at 500 kbit/s.
  EXPECT_EQ(PageDataOf(SeedRefused()).columns["phases"],
            Json::parse(R"([{"name":"unlock","began":0.0,"ended":0.5,"bytes":0,"wire":0.00054}])"));
}

TEST(PageData, CountsNoWireTimeWithoutABitRate) {
  Artifacts artifacts = SeedRefused();
  artifacts.plan.bit_rate.reset();
  EXPECT_EQ(PageDataOf(artifacts).columns["phases"][0]["wire"], 0.0);
}

TEST(Outcome, NeverTakesAFailureForASuccess) {
  Artifacts artifacts = SeedRefused();
  EXPECT_EQ(OutcomeOf(artifacts).state, "failed");
  artifacts.result.state = OutcomeState::kCancelled;
  EXPECT_EQ(OutcomeOf(artifacts).state, "cancelled");
  artifacts.result = {};
  EXPECT_EQ(OutcomeOf(artifacts).state, "unfinished");
  EXPECT_EQ(OutcomeOf(artifacts).line,
            "Read not finished: the tool is still at work, or was ended in the middle");
}

TEST(Page, ShowsTheOutcomeWithoutAScriptAndEscapesIt) {
  const std::string page = RenderPage(SeedRefused());
  EXPECT_THAT(page, AllOf(HasSubstr("data-state=\"failed\""),
                          HasSubstr("Read failed: unlock: &lt;/script&gt;"
                                    "&lt;b a=&#39;b&#39; c=&quot;d&quot;&gt;no"),
                          Not(HasSubstr("</script><b")), Not(HasSubstr("@DATA@")),
                          Not(HasSubstr("_HASH@"))));
}

}  // namespace
}  // namespace quillmark::host::testing
