// SPDX-License-Identifier: MIT
#include "quillmark/host/bytes.h"

#include <gmock/gmock.h>

namespace quillmark::host {
namespace {

TEST(Bytes, BecomeUpperCaseHex) {
  EXPECT_EQ(HexOf(Bytes{0x02, 0x10, 0xC0, 0x0F}), "0210C00F");
  EXPECT_EQ(HexOf(Bytes{}), "");
}

TEST(Bytes, ComeFromHexOfBothCases) {
  EXPECT_EQ(BytesOfHex("0210c0FF"), (Bytes{0x02, 0x10, 0xC0, 0xFF}));
  EXPECT_EQ(BytesOfHex(""), Bytes{});
}

TEST(Bytes, DoNotComeFromAnythingElse) {
  for (const char* text : {"0", "0G", "G0", "-1", "+1", " 1", "1 ", "0x"}) {
    EXPECT_EQ(BytesOfHex(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace quillmark::host
