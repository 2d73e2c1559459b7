// SPDX-License-Identifier: MIT
#include "host/ecu/k_message.h"

#include <gmock/gmock.h>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

std::string Encoded(std::size_t length) {
  return HexOf(EncodeKMessage({.target = 0xF1, .source = 0x10, .data = Bytes(length, 0x00)}));
}

TEST(KMessage, IsEncodedWithBothAddressesAndAChecksum) {
  EXPECT_EQ(HexOf(EncodeKMessage({.target = 0xF1, .source = 0x10, .data = Hex("6782")})),
            "82F11067826C");
}

TEST(KMessage, HasALengthByteFrom63On) {
  EXPECT_EQ(Encoded(62).substr(0, 8), "BEF11000");
  EXPECT_EQ(Encoded(63).substr(0, 8), "80F1103F");
  EXPECT_EQ(Encoded(255).substr(0, 8), "80F110FF");
}

TEST(KMessage, IsDecodedWithEitherLength) {
  const auto short_form = DecodeKMessage(Hex("8110F13EC0"));
  ASSERT_TRUE(short_form);
  EXPECT_EQ(short_form->target, 0x10);
  EXPECT_EQ(short_form->source, 0xF1);
  EXPECT_EQ(short_form->data, Hex("3E"));

  const auto long_form = DecodeKMessage(Hex("8010F1013EC0"));
  ASSERT_TRUE(long_form);
  EXPECT_EQ(long_form->data, Hex("3E"));
}

TEST(KMessage, OfEveryLengthSurvives) {
  for (std::size_t length = 1; length <= 255; ++length) {
    const Bytes data = Counting(0x34, length);
    const auto decoded = DecodeKMessage(EncodeKMessage({0x10, 0xF1, data}));
    ASSERT_TRUE(decoded) << length;
    EXPECT_EQ(decoded->data, data);
  }
}

TEST(KMessage, IsRefusedWhereAnythingIsWrong) {
  for (const char* bytes : {
           "",              // nothing
           "8110F13E",      // no checksum
           "8110F13EC1",    // wrong checksum
           "8210F13EC1",    // shorter than its length says
           "8110F13EC000",  // longer
           "8010F10081",    // no data
           "C110F13E00",    // functional addressing
           "013E3F0000",    // no addresses
       }) {
    EXPECT_FALSE(DecodeKMessage(Hex(bytes))) << bytes;
  }
}

}  // namespace
}  // namespace quillmark::host
