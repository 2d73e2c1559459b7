// SPDX-License-Identifier: MIT
// What is a call, which calls there are, and how many arguments they take.
#include "quillmark/error.h"
#include "tests/host/calls/console_test.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

using ConsoleLine = ConsoleTest;

constexpr const char* kNoCall =
    R"({"call":null,"error":{"number":13,"description":"expected a JSON object such as )"
    R"({\"call\":\"CANIDs\",\"args\":[1850,1586]}, found )";

std::string NoCall(std::string_view found) { return kNoCall + std::string(found) + R"("}})"; }

TEST_F(ConsoleLine, HasCallAndResultInThisOrder) {
  EXPECT_EQ(Answer(R"({"args":[1850,1586],"call":"CANIDs"})"),
            R"({"call":"CANIDs","result":null})");
}

TEST_F(ConsoleLine, HasCallAndErrorInThisOrder) {
  EXPECT_EQ(Answer(R"({"call":"readseed"})"),
            R"({"call":"readseed","error":{"number":91,"description":)"
            R"("Object variable or With block variable not set"}})");
}

TEST_F(ConsoleLine, MayLeaveOutArgumentsOfACallWithoutAny) {
  EXPECT_EQ(Answer(R"({"call":"new"})"), R"({"call":"new","result":null})");
  EXPECT_EQ(Answer(R"({"call":"new","args":[]})"), R"({"call":"new","result":null})");
}

TEST_F(ConsoleLine, IgnoresOtherKeys) {
  EXPECT_EQ(Answer(R"({"id":7,"call":"new","comment":"x"})"), R"({"call":"new","result":null})");
}

TEST_F(ConsoleLine, MayEndInACarriageReturn) {
  EXPECT_EQ(Answer("{\"call\":\"new\"}\r"), R"({"call":"new","result":null})");
}

TEST_F(ConsoleLine, ThatIsNoJson) {
  EXPECT_EQ(Answer("CANIDs 1 2"), NoCall("a syntax error at byte 1"));
  EXPECT_EQ(Answer(R"({"call":"new"} x)"), NoCall("a syntax error at byte 16"));
  EXPECT_EQ(Answer(R"({"call":"new")"), NoCall("a syntax error at byte 14"));
}

TEST_F(ConsoleLine, ThatIsNoObject) {
  EXPECT_EQ(Answer("[]"), NoCall("an array"));
  EXPECT_EQ(Answer("null"), NoCall("null"));
  EXPECT_EQ(Answer("12"), NoCall("12"));
  EXPECT_EQ(Answer("true"), NoCall("a Boolean"));
  EXPECT_EQ(Answer("\"new\""), NoCall("a string"));
}

TEST_F(ConsoleLine, WithoutACall) {
  EXPECT_EQ(Answer("{}"), NoCall(R"(nothing as \"call\")"));
  EXPECT_EQ(Answer(R"({"call":5})"), NoCall(R"(5 as \"call\")"));
  EXPECT_EQ(Answer(R"({"call":null})"), NoCall(R"(null as \"call\")"));
}

TEST_F(ConsoleLine, ThatIsNotUtf8) {
  EXPECT_EQ(Answer("{\"call\":\"\xFF\"}"), NoCall("a syntax error at byte 10"));
  EXPECT_EQ(Answer("\xC3"), NoCall("a syntax error at byte 1"));
}

TEST_F(ConsoleLine, WithALoneSurrogate) {
  EXPECT_EQ(Answer(R"({"call":"\ud800"})"), NoCall("a syntax error at byte 16"));
}

TEST_F(ConsoleLine, WithANullByte) {
  EXPECT_EQ(Answer(std::string_view("\0", 1)), NoCall("a syntax error at byte 1"));
}

TEST_F(ConsoleLine, NestedTooDeepForAnyStack) {
  const std::string deep(200'000, '[');
  EXPECT_EQ(Answer(deep), NoCall("a syntax error at byte 200001"));
  const std::string closed = deep + std::string(200'000, ']');
  EXPECT_EQ(Answer(closed), NoCall("an array"));
  EXPECT_EQ(Answer(R"({"call":"readseed","args":)" + closed + "}"),
            R"({"call":"readseed","error":{"number":450,"description":)"
            R"("readseed: expected no arguments, found 1"}})");
}

TEST_F(ConsoleLine, WithANumberBeyondAnyDouble) {
  EXPECT_EQ(
      Answer(R"({"call":"starterase","args":[1e400]})"),
      R"({"call":null,"error":{"number":6,"description":"expected a JSON object such as )"
      R"({\"call\":\"CANIDs\",\"args\":[1850,1586]}, found a number that no double can hold"}})");
}

TEST_F(ConsoleLine, WithAnUnknownCall) {
  EXPECT_EQ(
      Answer(R"({"call":"canids","args":"x"})"),
      R"({"call":"canids","error":{"number":438,"description":"unknown call \"canids\": expected )"
      R"(one of new, CANIDs, StartDiag, gethisto, readseed, getseed, dounlock, checkunlock, )"
      R"(starterase, checkstarterase, checkerase, checkcheckerase, checkdownload, startroutine, )"
      R"(checkstartroutine, routinestatus, checkroutine, writelogzone, checkwritelogzone, )"
      R"(checkupload, stopcomm, ComputeDownload, ComputeUpload, TesterPresent, FlowControl"}})");
}

TEST_F(ConsoleLine, EchoesTheNameOfAnUnknownCallAsItIs) {
  EXPECT_THAT(Answer(R"({"call":"a\"\n\u00e9"})"), StartsWith("{\"call\":\"a\\\"\\n\xC3\xA9\","));
}

TEST_F(ConsoleLine, WithArgumentsThatAreNoList) {
  EXPECT_EQ(Answer(R"({"call":"new","args":{}})"),
            R"({"call":"new","error":{"number":13,"description":)"
            R"("new: expected a list as \"args\", found an object"}})");
  EXPECT_EQ(Answer(R"({"call":"new","args":null})"),
            R"({"call":"new","error":{"number":13,"description":)"
            R"("new: expected a list as \"args\", found null"}})");
}

struct Arity {
  const char* line;
  const char* description;

  friend void PrintTo(const Arity& arity, std::ostream* out) { *out << arity.line; }
};

class WrongNumberOfArguments : public ConsoleTest, public ::testing::WithParamInterface<Arity> {};

TEST_P(WrongNumberOfArguments, IsError450) {
  EXPECT_THAT(Answer(GetParam().line), HasSubstr(R"("error":{"number":450,"description":")" +
                                                 std::string(GetParam().description) + "\"}}"));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, WrongNumberOfArguments,
    ::testing::Values(
        Arity{R"({"call":"new","args":[1]})", "new: expected no arguments, found 1"},
        Arity{R"({"call":"CANIDs"})", "CANIDs: expected 2 arguments (RCANId, XCANId), found 0"},
        Arity{R"({"call":"CANIDs","args":["x"]})",
              "CANIDs: expected 2 arguments (RCANId, XCANId), found 1"},
        Arity{R"({"call":"CANIDs","args":[1,2,3]})",
              "CANIDs: expected 2 arguments (RCANId, XCANId), found 3"},
        Arity{R"({"call":"StartDiag","args":[1]})", "StartDiag: expected no arguments, found 1"},
        Arity{R"({"call":"gethisto"})", "gethisto: expected 1 argument (root), found 0"},
        Arity{R"({"call":"readseed","args":[1]})", "readseed: expected no arguments, found 1"},
        Arity{R"({"call":"getseed"})", "getseed: expected 1 argument (root), found 0"},
        Arity{R"({"call":"dounlock"})", "dounlock: expected 1 argument (key), found 0"},
        Arity{R"({"call":"checkunlock"})", "checkunlock: expected 1 argument (root), found 0"},
        Arity{R"({"call":"starterase"})", "starterase: expected 1 argument (RL), found 0"},
        Arity{R"({"call":"checkstarterase"})",
              "checkstarterase: expected 1 argument (root), found 0"},
        Arity{R"({"call":"checkerase","args":[1]})", "checkerase: expected no arguments, found 1"},
        Arity{R"({"call":"checkcheckerase"})",
              "checkcheckerase: expected 1 argument (root), found 0"},
        Arity{R"({"call":"checkdownload"})", "checkdownload: expected 1 argument (root), found 0"},
        Arity{R"({"call":"startroutine"})", "startroutine: expected 1 argument (Routine), found 0"},
        Arity{R"({"call":"checkstartroutine","args":["<a/>"]})",
              "checkstartroutine: expected 2 arguments (root, Routine), found 1"},
        Arity{R"({"call":"routinestatus"})",
              "routinestatus: expected 1 argument (Routine), found 0"},
        Arity{R"({"call":"checkroutine","args":["<a/>"]})",
              "checkroutine: expected 2 arguments (root, Routine), found 1"},
        Arity{R"({"call":"writelogzone"})", "writelogzone: expected 1 argument (Histo), found 0"},
        Arity{R"({"call":"checkwritelogzone"})",
              "checkwritelogzone: expected 1 argument (root), found 0"},
        Arity{R"({"call":"checkupload","args":["<a/>"]})",
              "checkupload: expected 2 arguments (root, Image), found 1"},
        Arity{R"({"call":"stopcomm","args":[1]})", "stopcomm: expected no arguments, found 1"},
        Arity{R"({"call":"ComputeDownload","args":[1,2,3,4]})",
              R"(ComputeDownload: expected 5 or 6 arguments (RL, Image, FillByte, IMod, MaxSize, )"
              R"({\"cancel_at\":K}), found 4)"},
        Arity{R"({"call":"ComputeDownload","args":[1,2,3,4,5,6,7]})",
              R"(ComputeDownload: expected 5 or 6 arguments (RL, Image, FillByte, IMod, MaxSize, )"
              R"({\"cancel_at\":K}), found 7)"},
        Arity{R"({"call":"ComputeUpload","args":[1]})",
              R"(ComputeUpload: expected 2 or 3 arguments (Map, RL, {\"cancel_at\":K}), found 1)"},
        Arity{R"({"call":"ComputeUpload","args":[1,2,3,4]})",
              R"(ComputeUpload: expected 2 or 3 arguments (Map, RL, {\"cancel_at\":K}), found 4)"},
        Arity{R"({"call":"TesterPresent","args":[1]})",
              "TesterPresent: expected no arguments, found 1"},
        Arity{R"({"call":"FlowControl","args":[1]})",
              "FlowControl: expected 2 arguments (BS, STMin), found 1"}));

}  // namespace
}  // namespace quillmark::host::testing
