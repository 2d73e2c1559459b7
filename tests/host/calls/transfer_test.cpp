// SPDX-License-Identifier: MIT
// ComputeDownload and ComputeUpload, from the first event to the last.
#include "host/calls/json_value.h"
#include "tests/host/calls/console_test.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;

class ConsoleTransfer : public ConsoleTest {
 protected:
  ConsoleTransfer() {
    EXPECT_THAT(Answer(R"({"call":"CANIDs","args":[0,17]})"), HasSubstr("null"));
  }

  // The list of what the events of a call carried.
  Json EventsOf(const std::string& line) {
    const Json answer = Json::parse(Answer(line));
    EXPECT_TRUE(answer.contains("result")) << answer;
    return answer.value("result", Json::array());
  }
};

TEST_F(ConsoleTransfer, DownloadGivesItsDocumentAndTheEndMarker) {
  EXPECT_EQ(Answer(R"({"call":"ComputeDownload","args":[1,)"
                   R"([{"at":65536,"hex":"0102FFFFFFFF0304"}],255,2,3]})"),
            R"({"call":"ComputeDownload","result":["<?xml version='1.0'?><k totalbytes=\"8\">\r\n)"
            R"(<s><d>8B11F13401010000030102FF013B04</d></s>\r\n<r><c>82F1117402FA</c></r>\r\n)"
            R"(<s><d>8B11F1340101000303FFFFFF033902</d></s>\r\n<r><c>82F1117402FA</c></r>\r\n)"
            R"(<s><d>8A11F13401010006020304004516</d></s>\r\n<r><c>82F1117402FA</c></r>\r\n\r\n)"
            R"(</k>",null]})");
}

TEST_F(ConsoleTransfer, UploadGivesItsDocumentAndTheEndMarker) {
  EXPECT_EQ(Answer(R"({"call":"ComputeUpload","args":[[{"start":65536,"count":50}],1]})"),
            R"({"call":"ComputeUpload","result":["<?xml version='1.0'?><k totalbytes=\"50\">\r\n)"
            R"(<s><d>8611F13580010000306E</d></s>\r\n<r><c>B8F111750101000030</c></r>\r\n)"
            R"(<s><d>8611F135800100300270</d></s>\r\n<r><c>8AF111750101003002</c></r>\r\n\r\n)"
            R"(</k>",null]})");
}

TEST_F(ConsoleTransfer, UploadOfMoreThan32KilobytesGivesSeveralDocuments) {
  const Json events =
      EventsOf(R"({"call":"ComputeUpload","args":[[{"start":0,"count":70000}],1]})");
  ASSERT_EQ(events.size(), 4U);
  EXPECT_THAT(events[0].get<std::string>(), HasSubstr("totalbytes=\"32784\""));
  EXPECT_THAT(events[1].get<std::string>(), HasSubstr("totalbytes=\"32784\""));
  EXPECT_THAT(events[2].get<std::string>(), HasSubstr("totalbytes=\"4432\""));
  EXPECT_TRUE(events[3].is_null());
}

TEST_F(ConsoleTransfer, CancelAtTheFirstEventGivesOneDocumentAndNoEndMarker) {
  const Json events = EventsOf(
      R"({"call":"ComputeUpload","args":[[{"start":0,"count":70000}],1,{"cancel_at":1}]})");
  ASSERT_EQ(events.size(), 1U);
  EXPECT_TRUE(events[0].is_string());
}

TEST_F(ConsoleTransfer, CancelAtTheSecondEventGivesTwoDocuments) {
  const Json events = EventsOf(R"({"call":"ComputeDownload","args":[1,[{"at":0,"hex":")" +
                               std::string(140000, '5') + R"("}],255,16,100,{"cancel_at":2}]})");
  ASSERT_EQ(events.size(), 2U);
  EXPECT_TRUE(events[1].is_string());
}

TEST_F(ConsoleTransfer, CancelAtTheEndMarkerOrLaterChangesNothing) {
  const std::string all = Answer(R"({"call":"ComputeUpload","args":[[{"start":0,"count":10}],1]})");
  EXPECT_EQ(
      Answer(R"({"call":"ComputeUpload","args":[[{"start":0,"count":10}],1,{"cancel_at":2}]})"),
      all);
  EXPECT_EQ(
      Answer(R"({"call":"ComputeUpload","args":[[{"start":0,"count":10}],1,{"cancel_at":9}]})"),
      all);
}

TEST_F(ConsoleTransfer, WorkerThatFailsGivesTheEndMarkerAlone) {
  EXPECT_EQ(Answer(R"({"call":"ComputeDownload","args":[1,[{"at":0,"hex":"01"}],255,0,3]})"),
            R"({"call":"ComputeDownload","result":[null]})");
}

TEST_F(ConsoleTransfer, EmptyImageGivesAnEmptyDocument) {
  EXPECT_EQ(Answer(R"({"call":"ComputeDownload","args":[1,[],255,16,3]})"),
            R"({"call":"ComputeDownload","result":["<?xml version='1.0'?>)"
            R"(<k totalbytes=\"0\">\r\n\r\n</k>",null]})");
}

TEST_F(ConsoleTransfer, ErrorOfTheCallerIsAnError) {
  EXPECT_EQ(Answer(R"({"call":"ComputeDownload","args":[1,[],255,16,0]})"),
            "{\"call\":\"ComputeDownload\",\"error\":{\"number\":1000,"
            "\"description\":\"Invalid block size (0)\"}}");
}

TEST_F(ConsoleTransfer, TransferBeforeCANIDsIsError91) {
  EXPECT_THAT(Answer(R"({"call":"new"})"), HasSubstr("null"));
  EXPECT_THAT(Answer(R"({"call":"ComputeUpload","args":[[],1]})"), HasSubstr(R"("number":91)"));
}

TEST_F(ConsoleTransfer, TransferLeavesTheObjectUsable) {
  const std::string first =
      Answer(R"({"call":"ComputeUpload","args":[[{"start":0,"count":10}],1]})");
  EXPECT_THAT(Answer(R"({"call":"ComputeDownload","args":[1,[],255,16,0]})"), HasSubstr("1000"));
  EXPECT_EQ(Answer(R"({"call":"ComputeUpload","args":[[{"start":0,"count":10}],1]})"), first);
}

}  // namespace
}  // namespace quillmark::host::testing
