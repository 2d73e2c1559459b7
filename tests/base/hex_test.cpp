#include "base/hex.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"

namespace quillmark {
namespace {

TEST(Hex, WritesTwoUpperCaseDigitsAByte) {
  EXPECT_EQ(HexOf(Bytes{0x00, 0x0A, 0xF1, 0xFF}), "000AF1FF");
  EXPECT_EQ(HexOf(Bytes{}), "");
}

TEST(Hex, AppendsBehindWhatIsThere) {
  std::string text = "Erase error ";
  AppendHex(text, Bytes{0x7F, 0x31});
  EXPECT_EQ(text, "Erase error 7F31");
}

TEST(Hex, ReadsBothCases) {
  EXPECT_EQ(BytesOfHex("00aAfF"), (Bytes{0x00, 0xAA, 0xFF}));
  EXPECT_EQ(BytesOfHex(""), Bytes{});
}

TEST(Hex, RejectsWhatIsNotHex) {
  for (const char* text : {"0", "0G", "G0", " 00", "0 0 ", "0x00", "\xC3\xA9"}) {
    EXPECT_ERROR(BytesOfHex(text), 13, "Type mismatch") << text;
  }
}

TEST(Hex, WritesShortNumbersWithoutLeadingZero) {
  EXPECT_EQ(ShortHexOf(0x00), "0");
  EXPECT_EQ(ShortHexOf(0x05), "5");
  EXPECT_EQ(ShortHexOf(0x10), "10");
  EXPECT_EQ(ShortHexOf(0xFF), "FF");
}

}  // namespace
}  // namespace quillmark
