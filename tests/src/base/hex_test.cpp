// SPDX-License-Identifier: MIT
#include "base/hex.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <string_view>

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

/// Long texts are converted part by part, each of them in vectors and a rest.
TEST(Hex, LongTextsComeBackAsTheyWere) {
  for (const std::size_t size : {15U, 16U, 17U, 255U, 256U, 257U, 600U, 3U << 20U}) {
    Bytes bytes(size);
    std::uint8_t next = 0;
    std::generate(bytes.begin(), bytes.end(),
                  [&] { return next = static_cast<std::uint8_t>(next * 5 + 1); });
    const std::string text = HexOf(bytes);
    ASSERT_EQ(text.size(), 2 * size);
    EXPECT_EQ(text.substr(0, 6), "01061F");
    EXPECT_EQ(text.substr(2 * size - 2), HexOf(ByteView(&bytes.back(), 1)));
    EXPECT_TRUE(BytesOfHex(text) == bytes) << size;
  }
}

TEST(Hex, RejectsOneWrongCharacterWhereverItStands) {
  const std::string good(600, 'F');
  for (std::size_t at = 0; at < good.size(); ++at) {
    std::string text = good;
    text[at] = 'G';
    EXPECT_ERROR(BytesOfHex(text), 13, "Type mismatch") << at;
  }
}

TEST(Hex, KnowsEveryDigitAndNoOtherCharacter) {
  for (int code = 0; code < 256; ++code) {
    const char character = static_cast<char>(code);
    const bool is_digit =
        std::string_view("0123456789ABCDEFabcdef").find(character) != std::string_view::npos;
    for (const std::size_t length : {2U, 32U}) {
      Bytes bytes;
      EXPECT_EQ(AppendBytesOfHex(bytes, std::string(length, character)), is_digit) << code;
    }
  }
}

TEST(Hex, AppendsBytesOrNone) {
  Bytes bytes = {0x01};
  EXPECT_TRUE(AppendBytesOfHex(bytes, "02FF"));
  EXPECT_FALSE(AppendBytesOfHex(bytes, "03zz"));
  EXPECT_FALSE(AppendBytesOfHex(bytes, std::string(600, '0') + "x0"));
  EXPECT_FALSE(AppendBytesOfHex(bytes, "0"));
  EXPECT_EQ(bytes, (Bytes{0x01, 0x02, 0xFF}));
}

TEST(Hex, WritesShortNumbersWithoutLeadingZero) {
  EXPECT_EQ(ShortHexOf(0x00), "0");
  EXPECT_EQ(ShortHexOf(0x05), "5");
  EXPECT_EQ(ShortHexOf(0x10), "10");
  EXPECT_EQ(ShortHexOf(0xFF), "FF");
}

}  // namespace
}  // namespace quillmark
