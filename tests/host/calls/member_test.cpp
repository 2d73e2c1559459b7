// SPDX-License-Identifier: MIT
// Every member's arguments and result, one call at least.
#include "tests/host/calls/console_test.h"
#include "tests/host/calls/recorded_calls.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;

class ConsoleMember : public ConsoleTest {
 protected:
  ConsoleMember() {
    EXPECT_EQ(Answer(R"({"call":"CANIDs","args":[1850,1586]})"),
              R"({"call":"CANIDs","result":null})");
  }

  // The answer to a call of a request method, which gives a document in plain CAN form.
  static std::string Request(const std::string& call, const std::string& steps) {
    return R"({"call":")" + call +
           R"(","result":"<?xml version='1.0'?><can>\r\n<x i=\"1850\">\r\n<i>1586</i>\r\n)" +
           steps + R"(</x>\r\n</can>"})";
  }

  // The answer to a call of a check method on a plain CAN reply of one frame.
  std::string Check(const std::string& call, const std::string& frame,
                    const std::string& more_arguments = "") {
    return Answer(R"({"call":")" + call + R"(","args":["<can><x><r><d>)" + frame +
                  R"(</d></r></x></can>")" + more_arguments + "]}");
  }
};

TEST_F(ConsoleMember, NewStartsAFreshObject) {
  EXPECT_EQ(Answer(R"({"call":"new"})"), R"({"call":"new","result":null})");
  EXPECT_THAT(Answer(R"({"call":"readseed"})"), HasSubstr(R"("number":91)"));
}

TEST_F(ConsoleMember, StartDiag) {
  EXPECT_THAT(Answer(R"({"call":"StartDiag"})"),
              HasSubstr(R"(<s><d>0210C00000000000</d></s>\r\n<r><c>0250C0</c></r>\r\n)"));
}

TEST_F(ConsoleMember, ReadSeed) {
  EXPECT_EQ(Answer(R"({"call":"readseed"})"),
            Request("readseed", R"(<s><d>0227810000000000</d></s>\r\n<r><c>066781</c></r>\r\n)"));
}

TEST_F(ConsoleMember, GetSeed) {
  EXPECT_EQ(Check("getseed", "0667811122334400"), R"({"call":"getseed","result":"11223344"})");
}

TEST_F(ConsoleMember, GetSeedOfANegativeResponse) {
  EXPECT_EQ(Check("getseed", "037F273500000000"),
            R"({"call":"getseed","error":{"number":2037,"description":)"
            R"("Requested Service : 27 Negative response code : 35"}})");
}

TEST_F(ConsoleMember, Unlock) {
  EXPECT_EQ(Answer(R"({"call":"dounlock","args":["11223344"]})"),
            Request("dounlock", R"(<s><d>0627821122334400</d></s>\r\n<r><c>026782</c></r>\r\n)"));
}

TEST_F(ConsoleMember, CheckUnlock) {
  EXPECT_EQ(Check("checkunlock", "0267820000000000"), R"({"call":"checkunlock","result":null})");
}

TEST_F(ConsoleMember, StartErase) {
  EXPECT_THAT(Answer(R"({"call":"starterase","args":[5]})"), HasSubstr("318105"));
}

TEST_F(ConsoleMember, CheckStartErase) {
  EXPECT_THAT(Check("checkstarterase", "037F312200000000"),
              HasSubstr(R"("error":{"number":4003,"description":"Start erase error )"));
}

TEST_F(ConsoleMember, CheckErase) {
  EXPECT_EQ(
      Answer(R"({"call":"checkerase"})"),
      Request("checkerase", R"(<s><d>0331810100000000</d></s>\r\n<r><c>03718102</c></r>\r\n)"));
}

TEST_F(ConsoleMember, CheckCheckEraseIsABoolean) {
  EXPECT_EQ(Check("checkcheckerase", "0371810200000000"),
            R"({"call":"checkcheckerase","result":true})");
  EXPECT_EQ(Check("checkcheckerase", "0371810100000000"),
            R"({"call":"checkcheckerase","result":false})");
}

TEST_F(ConsoleMember, CheckDownload) {
  EXPECT_EQ(Check("checkdownload", "0274020000000000"),
            R"({"call":"checkdownload","result":null})");
  EXPECT_EQ(
      Answer(R"({"call":"checkdownload","args":["<can><r><d>7F</d><e>x</e></r></can>"]})"),
      R"({"call":"checkdownload","error":{"number":4005,"description":"Download error 7F"}})");
}

TEST_F(ConsoleMember, StartRoutine) {
  EXPECT_EQ(
      Answer(R"({"call":"startroutine","args":[1]})"),
      Request("startroutine", R"(<s><d>0331010000000000</d></s>\r\n<r><c>03710101</c></r>\r\n)"));
}

TEST_F(ConsoleMember, CheckStartRoutineTakesTheRoutineSecond) {
  EXPECT_EQ(Check("checkstartroutine", "0371010100000000", ",1"),
            R"({"call":"checkstartroutine","result":null})");
  EXPECT_THAT(Check("checkstartroutine", "0371010100000000", ",2"),
              HasSubstr(R"("error":{"number":4006,"description":"Start routine 2H error )"));
}

TEST_F(ConsoleMember, RoutineStatus) {
  EXPECT_EQ(
      Answer(R"({"call":"routinestatus","args":[1]})"),
      Request("routinestatus", R"(<s><d>0331010100000000</d></s>\r\n<r><c>03710102</c></r>\r\n)"));
}

TEST_F(ConsoleMember, CheckRoutineIsABoolean) {
  EXPECT_EQ(Check("checkroutine", "0371010200000000", ",1"),
            R"({"call":"checkroutine","result":true})");
  EXPECT_EQ(Check("checkroutine", "0371010100000000", ",1"),
            R"({"call":"checkroutine","result":false})");
}

TEST_F(ConsoleMember, WriteLogZone) {
  EXPECT_THAT(Answer(R"({"call":"writelogzone","args":["A1A2A3"]})"), HasSubstr("<s><d>1038"));
}

TEST_F(ConsoleMember, CheckWriteLogZone) {
  EXPECT_EQ(Answer(R"({"call":"checkwritelogzone","args":["<can/>"]})"),
            R"({"call":"checkwritelogzone","result":null})");
  EXPECT_THAT(Answer(R"({"call":"checkwritelogzone","args":["<can><e/></can>"]})"),
              HasSubstr(R"("error":{"number":4008,"description":"Write log zone error )"));
}

TEST_F(ConsoleMember, CheckUploadGivesTheImageAfterIt) {
  EXPECT_EQ(Answer(R"({"call":"checkupload","args":["<can><x><r><d>100A750101234502</d></r>)"
                   R"(<r><d>21AABB0246000000</d></r></x></can>",)"
                   R"([{"at":-1,"hex":"0a"},{"at":99999,"hex":""}]]})"),
            R"({"call":"checkupload","result":[{"at":-1,"hex":"0A"},{"at":74565,"hex":"AABB"},)"
            R"({"at":99999,"hex":""}]})");
}

TEST_F(ConsoleMember, CheckUploadThatFailsGivesNoImage) {
  EXPECT_EQ(Answer(R"({"call":"checkupload","args":["<can><e/></can>",[{"at":1,"hex":"0A"}]]})"),
            R"({"call":"checkupload","error":{"number":4007,"description":"Upload error"}})");
}

TEST_F(ConsoleMember, StopComm) {
  EXPECT_THAT(Answer(R"({"call":"stopcomm"})"), HasSubstr("<s><d>021081"));
}

TEST_F(ConsoleMember, TesterPresent) {
  EXPECT_THAT(Answer(R"({"call":"TesterPresent"})"), HasSubstr("<s><d>013E"));
}

TEST_F(ConsoleMember, FlowControl) {
  EXPECT_EQ(Answer(R"({"call":"FlowControl","args":[2,5]})"),
            R"({"call":"FlowControl","result":null})");
  EXPECT_EQ(Answer(R"({"call":"FlowControl","args":[0,256]})"),
            R"({"call":"FlowControl","error":{"number":4010,"description":)"
            R"("Diag On CAN STmin can't exceed 255."}})");
}

constexpr const char* kNoHistory = R"("RepHisto":[null,null,null,null,null,null,null,null],)"
                                   R"("RepReprog":[null,null,null,null,null,null,null,null]})";

TEST_F(ConsoleMember, GetHistoThatFailsGivesWhatItStoredAndTheError) {
  EXPECT_EQ(Answer(R"({"call":"gethisto","args":["<can/>"]})"),
            R"({"call":"gethisto","result":{"RepIdent":null,)" + std::string(kNoHistory) +
                R"(,"error":{"number":4000,"description":"Ecu is not reprogrammable"}})");
}

TEST_F(ConsoleMember, GetHistoOnAKLineStoresTheFirstRecordBeforeItFails) {
  EXPECT_THAT(Answer(R"({"call":"CANIDs","args":[0,17]})"), HasSubstr("result"));
  EXPECT_EQ(Answer(R"({"call":"gethisto","args":["<k><r><d>83F111C1EA8FBF</d></r>)"
                   R"(<r><d>9AF11161808080808080808080808080808080808080808080808080807D</d></r>)"
                   R"(<r><d>9AF11161F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F06D</d></r>)"
                   R"(</k>"]})"),
            R"({"call":"gethisto","result":{)"
            R"("RepIdent":"808080808080808080808080808080808080808080808080",)"
            R"("RepHisto":["F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0",)"
            R"(null,null,null,null,null,null,null],)"
            R"("RepReprog":[null,null,null,null,null,null,null,null]},)"
            R"("error":{"number":4000,"description":"Ecu is not reprogrammable"}})");
}

TEST_F(ConsoleMember, GetHistoWithoutADocumentIsNotCalled) {
  EXPECT_EQ(Answer(R"({"call":"gethisto","args":[1]})"),
            R"({"call":"gethisto","error":{"number":13,"description":)"
            R"("gethisto: argument 1, root: expected XML text, found 1"}})");
}

// A plain CAN reply of 24 times `byte`, to 21 `byte`, as four frames.
std::string Record(const std::string& byte) {
  const auto repeated = [&](int count) {
    std::string text;
    for (int index = 0; index < count; ++index) {
      text += byte;
    }
    return text;
  };
  return "<r><d>101A61" + repeated(5) + "</d></r><r><d>21" + repeated(7) + "</d></r><r><d>22" +
         repeated(7) + "</d></r><r><d>23" + repeated(7) + "</d></r>";
}

TEST_F(ConsoleMember, GetHistoGivesEightEntriesEach) {
  const std::string document = "<can><x><r><d>0250C0</d></r>" + Record("80") +
                               "<r><d>025085</d></r>" + Record("F0") + Record("F1") + Record("FE") +
                               Record("FF") + "</x></can>";
  EXPECT_EQ(Answer(R"({"call":"gethisto","args":[")" + document + R"("]})"),
            R"({"call":"gethisto","result":{)"
            R"("RepIdent":"808080808080808080808080808080808080808080808080",)"
            R"("RepHisto":["F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0",)"
            R"("FEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFEFE",null,null,null,null,null,null],)"
            R"("RepReprog":["F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1",)"
            R"("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF",)"
            R"(null,null,null,null,null,null]}})");
}

/// The answers that other platforms are compared with.
TEST_F(ConsoleTest, AnswersAsRecorded) {
  const auto recorded = RecordedCalls(QUILLMARK_RECORDED_CALLS);
  EXPECT_GE(recorded.size(), 300U);
  for (const RecordedCall& one : recorded) {
    ASSERT_EQ(Answer(one.call), one.answer) << one.call;
  }
}

}  // namespace
}  // namespace quillmark::host::testing
