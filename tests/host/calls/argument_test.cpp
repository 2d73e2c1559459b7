// SPDX-License-Identifier: MIT
// What each type of argument accepts and how it is refused.
#include "tests/host/calls/console_test.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class ConsoleArgument : public ConsoleTest {
 protected:
  ConsoleArgument() { EXPECT_EQ(Answer(R"({"call":"CANIDs","args":[1850,1586]})"), kDone); }

  // The error of a call with these arguments, otherwise the whole answer.
  std::string ErrorOf(const std::string& call, const std::string& arguments) {
    const std::string answer = Answer(R"({"call":")" + call + R"(","args":[)" + arguments + "]}");
    const std::string head = R"({"call":")" + call + R"(","error":)";
    return answer.compare(0, head.size(), head) == 0
               ? answer.substr(head.size(), answer.size() - head.size() - 1)
               : answer;
  }

  static std::string Error(int number, const std::string& description) {
    return R"({"number":)" + std::to_string(number) + R"(,"description":")" + description + "\"}";
  }

  static constexpr const char* kDone = R"({"call":"CANIDs","result":null})";
};

TEST_F(ConsoleArgument, ByteOutOfRangeIsAnOverflow) {
  EXPECT_THAT(Answer(R"({"call":"starterase","args":[0]})"), HasSubstr("result"));
  EXPECT_THAT(Answer(R"({"call":"starterase","args":[255]})"), HasSubstr("result"));
  EXPECT_EQ(ErrorOf("starterase", "256"),
            Error(6, "starterase: argument 1, RL: expected a Byte, 0 to 255, found 256"));
  EXPECT_EQ(ErrorOf("starterase", "-1"),
            Error(6, "starterase: argument 1, RL: expected a Byte, 0 to 255, found -1"));
}

TEST_F(ConsoleArgument, LongOutOfRangeIsAnOverflow) {
  EXPECT_EQ(Answer(R"({"call":"CANIDs","args":[2147483647,-2147483648]})"), kDone);
  EXPECT_EQ(ErrorOf("CANIDs", "2147483648,0"),
            Error(6,
                  "CANIDs: argument 1, RCANId: expected a Long, -2147483648 to 2147483647, "
                  "found 2147483648"));
  EXPECT_EQ(ErrorOf("CANIDs", "0,-2147483649"),
            Error(6,
                  "CANIDs: argument 2, XCANId: expected a Long, -2147483648 to 2147483647, "
                  "found -2147483649"));
}

TEST_F(ConsoleArgument, NumberBeyond64BitsIsAnOverflow) {
  EXPECT_EQ(ErrorOf("starterase", "18446744073709551615"),
            Error(6,
                  "starterase: argument 1, RL: expected a Byte, 0 to 255, found "
                  "18446744073709551615"));
  EXPECT_EQ(
      ErrorOf("starterase", "36893488147419103232"),
      Error(6,
            "starterase: argument 1, RL: expected a Byte, 0 to 255, found 3.6893488147419103e+19"));
}

TEST_F(ConsoleArgument, WholeNumberCountsHoweverItIsWritten) {
  const std::string ten = Answer(R"({"call":"starterase","args":[10]})");
  EXPECT_THAT(ten, HasSubstr("31810A"));
  EXPECT_EQ(Answer(R"({"call":"starterase","args":[10.0]})"), ten);
  EXPECT_EQ(Answer(R"({"call":"starterase","args":[1e1]})"), ten);
  EXPECT_EQ(Answer(R"({"call":"starterase","args":[100E-1]})"), ten);
  EXPECT_EQ(Answer(R"({"call":"starterase","args":[-0.0]})"),
            Answer(R"({"call":"starterase","args":[0]})"));
}

TEST_F(ConsoleArgument, FractionIsATypeMismatch) {
  EXPECT_EQ(ErrorOf("starterase", "1.5"),
            Error(13, "starterase: argument 1, RL: expected a Byte, 0 to 255, found 1.5"));
  EXPECT_EQ(ErrorOf("starterase", "300.5"),
            Error(13, "starterase: argument 1, RL: expected a Byte, 0 to 255, found 300.5"));
}

TEST_F(ConsoleArgument, AnythingButANumberIsATypeMismatch) {
  const std::string head = "starterase: argument 1, RL: expected a Byte, 0 to 255, found ";
  EXPECT_EQ(ErrorOf("starterase", R"("5")"), Error(13, head + "a string"));
  EXPECT_EQ(ErrorOf("starterase", "true"), Error(13, head + "a Boolean"));
  EXPECT_EQ(ErrorOf("starterase", "null"), Error(13, head + "null"));
  EXPECT_EQ(ErrorOf("starterase", "[5]"), Error(13, head + "an array"));
  EXPECT_EQ(ErrorOf("starterase", "{}"), Error(13, head + "an object"));
}

TEST_F(ConsoleArgument, ArgumentsAreCheckedFromTheLeft) {
  EXPECT_THAT(ErrorOf("CANIDs", R"("x",4294967296)"), HasSubstr("argument 1"));
  EXPECT_THAT(ErrorOf("CANIDs", R"(4294967296,"x")"), HasSubstr("argument 1"));
  EXPECT_THAT(ErrorOf("ComputeDownload", R"(0,[],0,"x",null)"), HasSubstr("argument 4, IMod"));
  EXPECT_THAT(ErrorOf("checkstartroutine", R"(7,700)"), HasSubstr("argument 1, root"));
  EXPECT_THAT(ErrorOf("checkstartroutine", R"("<a/>",700)"), HasSubstr("argument 2, Routine"));
}

TEST_F(ConsoleArgument, ByteStringIsHexInEitherCase) {
  const std::string upper = Answer(R"({"call":"dounlock","args":["0A1B2C3D"]})");
  EXPECT_THAT(upper, HasSubstr("0627820A1B2C3D"));
  EXPECT_EQ(Answer(R"({"call":"dounlock","args":["0a1b2c3d"]})"), upper);
}

TEST_F(ConsoleArgument, TextThatIsNotHexIsTheComponentsTypeMismatch) {
  EXPECT_EQ(ErrorOf("dounlock", R"("0A1")"), Error(13, "Type mismatch"));
  EXPECT_EQ(ErrorOf("dounlock", R"("0A 1")"), Error(13, "Type mismatch"));
  EXPECT_EQ(ErrorOf("dounlock", R"("xy")"), Error(13, "Type mismatch"));
}

TEST_F(ConsoleArgument, ByteStringThatIsNoStringIsATypeMismatch) {
  EXPECT_EQ(ErrorOf("dounlock", "12"),
            Error(13, "dounlock: argument 1, key: expected hexadecimal text, found 12"));
}

TEST_F(ConsoleArgument, DocumentThatIsNoStringIsATypeMismatch) {
  EXPECT_EQ(ErrorOf("getseed", "[]"),
            Error(13, "getseed: argument 1, root: expected XML text, found an array"));
}

TEST_F(ConsoleArgument, MalformedXmlIsATypeMismatch) {
  EXPECT_THAT(ErrorOf("getseed", R"("<can>")"), HasSubstr(R"({"number":13,)"));
  EXPECT_THAT(ErrorOf("getseed", R"("")"), HasSubstr(R"({"number":13,)"));
  EXPECT_THAT(ErrorOf("getseed", R"("can")"), HasSubstr(R"({"number":13,)"));
}

TEST_F(ConsoleArgument, ImageThatIsNoListOfSegmentsIsATypeMismatch) {
  const std::string head = "checkupload: argument 2, Image";
  const std::string segment = R"(an object {\"at\":ADDRESS,\"hex\":TEXT})";
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",{})"),
            Error(13, head + ": expected a list, each element " + segment + ", found an object"));
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[5])"),
            Error(13, head + "[0]: expected " + segment + ", found 5"));
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[{"at":0,"hex":""},{"at":0}])"),
            Error(13, head + "[1]: expected " + segment + ", found an object"));
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[{"hex":"00"}])"),
            Error(13, head + "[0]: expected " + segment + ", found an object"));
}

TEST_F(ConsoleArgument, SegmentIsCheckedLikeAnyValue) {
  const std::string head = "checkupload: argument 2, Image[0]";
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[{"at":2147483648,"hex":""}])"),
            Error(6, head + ".at: expected a Long, -2147483648 to 2147483647, found 2147483648"));
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[{"at":"0","hex":""}])"),
            Error(13, head + ".at: expected a Long, -2147483648 to 2147483647, found a string"));
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[{"at":0,"hex":0}])"),
            Error(13, head + ".hex: expected hexadecimal text, found 0"));
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[{"at":0,"hex":"0"}])"), Error(13, "Type mismatch"));
}

TEST_F(ConsoleArgument, SegmentThatEndsPastTheLongRangeIsAnOverflow) {
  EXPECT_EQ(ErrorOf("checkupload", R"("<a/>",[{"at":2147483647,"hex":"0000"}])"),
            Error(6, "Overflow"));
  EXPECT_EQ(Answer(R"({"call":"checkupload","args":["<a/>",[{"at":2147483647,"hex":"00"}]]})"),
            R"({"call":"checkupload","result":[{"at":2147483647,"hex":"00"}]})");
}

TEST_F(ConsoleArgument, MapIsCheckedLikeAnImage) {
  const std::string head = "ComputeUpload: argument 1, Map";
  const std::string range = R"(an object {\"start\":ADDRESS,\"count\":NUMBER})";
  EXPECT_EQ(ErrorOf("ComputeUpload", R"("x",0)"),
            Error(13, head + ": expected a list, each element " + range + ", found a string"));
  EXPECT_EQ(ErrorOf("ComputeUpload", R"([{"start":0}],0)"),
            Error(13, head + "[0]: expected " + range + ", found an object"));
  EXPECT_EQ(ErrorOf("ComputeUpload", R"([{"start":0,"count":1.5}],0)"),
            Error(13, head + "[0].count: expected a Long, -2147483648 to 2147483647, found 1.5"));
  EXPECT_EQ(ErrorOf("ComputeUpload", R"([],256)"),
            Error(6, "ComputeUpload: argument 2, RL: expected a Byte, 0 to 255, found 256"));
}

TEST_F(ConsoleArgument, CancelAtIsAnEventNumber) {
  const std::string head = "ComputeUpload: argument 3, cancel_at";
  EXPECT_EQ(ErrorOf("ComputeUpload", "[],0,1"),
            Error(13, head + R"(: expected an object {\"cancel_at\":NUMBER}, found 1)"));
  EXPECT_EQ(ErrorOf("ComputeUpload", R"([],0,{"cancelat":1})"),
            Error(13, head + R"(: expected an object {\"cancel_at\":NUMBER}, found an object)"));
  EXPECT_EQ(ErrorOf("ComputeUpload", R"([],0,{"cancel_at":0})"),
            Error(6, head + ".cancel_at: expected an event number, 1 to 2147483647, found 0"));
  EXPECT_EQ(
      ErrorOf("ComputeUpload", R"([],0,{"cancel_at":"1"})"),
      Error(13, head + ".cancel_at: expected an event number, 1 to 2147483647, found a string"));
}

TEST_F(ConsoleArgument, RefusedArgumentsLeaveTheObjectAsItWas) {
  const std::string before = Answer(R"({"call":"readseed"})");
  EXPECT_THAT(ErrorOf("CANIDs", R"(0,"x")"), HasSubstr("13"));
  EXPECT_EQ(Answer(R"({"call":"readseed"})"), before);
  EXPECT_THAT(before, Not(HasSubstr("error")));
}

}  // namespace
}  // namespace quillmark::host::testing
