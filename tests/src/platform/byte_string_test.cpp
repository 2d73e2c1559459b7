// SPDX-License-Identifier: MIT
#include <algorithm>
#include <vector>

#include "examples/own_types/own_byte_string.h"
#include "platform/portable/memory_byte_string.h"
#include "tests/src/platform/byte_string_laws.h"
#include "tests/src/platform/naive_byte_string.h"

namespace quillmark::testing {
namespace {

struct ReferenceStrings {
  static std::shared_ptr<ByteString> Make() {
    return std::make_shared<portable::MemoryByteString>();
  }
  static std::shared_ptr<ByteString> MakeOther() { return MakeNaiveByteString(); }
};

struct NaiveStrings {
  static std::shared_ptr<ByteString> Make() { return MakeNaiveByteString(); }
  static std::shared_ptr<ByteString> MakeOther() { return ReferenceStrings::Make(); }
};

struct ExampleStrings {
  static std::shared_ptr<ByteString> Make() { return std::make_shared<example::OwnByteString>(); }
  static std::shared_ptr<ByteString> MakeOther() { return MakeNaiveByteString(); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Example, ByteStringLaws, ExampleStrings);
INSTANTIATE_TYPED_TEST_SUITE_P(Reference, ByteStringLaws, ReferenceStrings);
INSTANTIATE_TYPED_TEST_SUITE_P(Naive, ByteStringLaws, NaiveStrings);

TEST(MemoryByteString, AFillRunOutsideIsMinusOne) {
  const auto string = ReferenceStrings::Make();
  EXPECT_EQ(string->FillRunLength(0, 1), -1);
}

TEST(MemoryByteString, AViewAlwaysCountsFromOne) {
  const auto string = ReferenceStrings::Make();
  string->SetHex("010203");
  const auto view = string->Mid(2, 0);
  EXPECT_ERROR(view->SetStartAddress(2), 9, "Subscript out of range");
  view->SetStartAddress(1);
  EXPECT_EQ(string->StartAddress(), 1);
}

TEST(MemoryByteString, AViewWorksAgainOnceItsStringIsLongEnough) {
  const auto string = ReferenceStrings::Make();
  string->SetHex("010203");
  const auto view = string->Mid(3, 1);
  string->SetLength(2);
  EXPECT_ERROR(view->Length(), 9, "Subscript out of range");
  EXPECT_ERROR(view->FillRunLength(0, 1), 9, "Subscript out of range");
  string->SetLength(3);
  EXPECT_EQ(view->Hex(), "00");
}

TEST(MemoryByteString, AChecksumBeyondALongRaises6) {
  const auto string = ReferenceStrings::Make();
  string->SetHex(std::string(2 * 8421504, 'F'));
  EXPECT_EQ(string->Checksum(), 2147483520);
  string->Mid(string->EndAddress() + 1, 0)->SetHex("FF");
  EXPECT_ERROR(string->Checksum(), 6, "Overflow");
}

TEST(FillRun, FindsTheFirstOtherByteAtEveryPlace) {
  for (std::size_t length = 0; length <= 140; ++length) {
    Bytes bytes(length, 0xA5);
    EXPECT_EQ(portable::FillRun(bytes, 0xA5), length);
    for (std::size_t other = 0; other < length; ++other) {
      std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xA5});
      bytes[other] = 0xA4;
      EXPECT_EQ(portable::FillRun(bytes, 0xA5), other) << "length " << length;
    }
  }
}

}  // namespace
}  // namespace quillmark::testing
