// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "quillmark/byte_string.h"
#include "support/expect_error.h"

namespace quillmark::testing {

/// The laws of a byte string, as tests for any implementation of the interface. A host names its
/// own type by a class with two static functions and runs them:
///
///     struct MyStrings {
///       static std::shared_ptr<ByteString> Make();       // an empty string of the type under test
///       static std::shared_ptr<ByteString> MakeOther();  // one of another implementation, to read
///     };
///     INSTANTIATE_TYPED_TEST_SUITE_P(Mine, ByteStringLaws, MyStrings);
template <typename Strings>
class ByteStringLaws : public ::testing::Test {
 protected:
  static constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();
  static constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();

  static std::shared_ptr<ByteString> Of(const std::string& hex, std::int32_t start = 1) {
    auto string = Strings::Make();
    string->SetHex(hex);
    string->SetStartAddress(start);
    return string;
  }

  static std::shared_ptr<ByteString> OtherOf(const std::string& hex) {
    auto string = Strings::MakeOther();
    string->SetHex(hex);
    return string;
  }
};

TYPED_TEST_SUITE_P(ByteStringLaws);

TYPED_TEST_P(ByteStringLaws, AFreshStringIsEmptyAndStartsAtOne) {
  const auto string = TypeParam::Make();
  EXPECT_EQ(string->Length(), 0);
  EXPECT_EQ(string->StartAddress(), 1);
  EXPECT_EQ(string->EndAddress(), 0);
  EXPECT_EQ(string->Hex(), "");
  EXPECT_EQ(string->Checksum(), 0);
}

TYPED_TEST_P(ByteStringLaws, GrowingFillsWithZeroAndShrinkingCutsTheEnd) {
  const auto string = this->Of("0102");
  string->SetLength(4);
  EXPECT_EQ(string->Hex(), "01020000");
  string->SetLength(1);
  EXPECT_EQ(string->Hex(), "01");
  string->SetLength(2);
  EXPECT_EQ(string->Hex(), "0100");
}

TYPED_TEST_P(ByteStringLaws, ANegativeLengthRaises9AndChangesNothing) {
  const auto string = this->Of("0102");
  EXPECT_ERROR(string->SetLength(-1), 9, "Subscript out of range");
  EXPECT_EQ(string->Hex(), "0102");
}

TYPED_TEST_P(ByteStringLaws, PositionsAreAddresses) {
  const auto string = this->Of("0A0B0C", 0x8000);
  EXPECT_EQ(string->Item(0x8000), 0x0A);
  EXPECT_EQ(string->Item(0x8002), 0x0C);
  EXPECT_EQ(string->EndAddress(), 0x8002);
  string->SetItem(0x8001, 0xFF);
  EXPECT_EQ(string->Hex(), "0AFF0C");
}

TYPED_TEST_P(ByteStringLaws, ZeroAndNegativeAddressesAreValid) {
  const auto string = this->Of("0A0B0C", -1);
  EXPECT_EQ(string->EndAddress(), 1);
  EXPECT_EQ(string->Item(-1), 0x0A);
  EXPECT_EQ(string->Item(0), 0x0B);
  EXPECT_EQ(string->Mid(0, 2)->Hex(), "0B0C");
}

TYPED_TEST_P(ByteStringLaws, APositionOutsideRaises9) {
  const auto string = this->Of("0A0B", 10);
  EXPECT_ERROR(string->Item(9), 9, "Subscript out of range");
  EXPECT_ERROR(string->Item(12), 9, "Subscript out of range");
  EXPECT_ERROR(string->SetItem(9, 0), 9, "Subscript out of range");
  EXPECT_ERROR(string->SetItem(12, 0), 9, "Subscript out of range");
  EXPECT_ERROR(string->Item(this->kSmallest), 9, "Subscript out of range");
  EXPECT_ERROR(string->Item(this->kLargest), 9, "Subscript out of range");
}

TYPED_TEST_P(ByteStringLaws, AnEmptyStringEndsBeforeItStarts) {
  const auto string = this->Of("", 100);
  EXPECT_EQ(string->EndAddress(), 99);
  EXPECT_ERROR(string->Item(100), 9, "Subscript out of range");
}

TYPED_TEST_P(ByteStringLaws, AddressesThatLeaveTheRangeRaise6AndChangeNothing) {
  const auto string = this->Of("0102");
  string->SetStartAddress(this->kLargest - 1);
  EXPECT_EQ(string->EndAddress(), this->kLargest);
  EXPECT_EQ(string->Item(this->kLargest), 0x02);
  EXPECT_ERROR(string->SetStartAddress(this->kLargest), 6, "Overflow");
  EXPECT_ERROR(string->SetLength(3), 6, "Overflow");
  EXPECT_ERROR(string->SetHex("010203"), 6, "Overflow");
  EXPECT_EQ(string->StartAddress(), this->kLargest - 1);
  EXPECT_EQ(string->Hex(), "0102");
}

TYPED_TEST_P(ByteStringLaws, TheSmallestAddressHoldsAByte) {
  const auto string = this->Of("0102", this->kSmallest);
  EXPECT_EQ(string->Item(this->kSmallest), 0x01);
  EXPECT_EQ(string->EndAddress(), this->kSmallest + 1);
}

TYPED_TEST_P(ByteStringLaws, AnEmptyStringMayStartAnywhere) {
  const auto string = this->Of("01", this->kSmallest);
  string->SetHex("");
  EXPECT_EQ(string->StartAddress(), this->kSmallest);
  EXPECT_ERROR(string->EndAddress(), 6, "Overflow");
  string->SetStartAddress(this->kLargest);
  EXPECT_EQ(string->EndAddress(), this->kLargest - 1);
}

TYPED_TEST_P(ByteStringLaws, HexIsUpperCaseAndReadsBothCases) {
  const auto string = this->Of("00aAfF");
  EXPECT_EQ(string->Hex(), "00AAFF");
  EXPECT_EQ(string->Length(), 3);
}

TYPED_TEST_P(ByteStringLaws, TextThatIsNotHexRaises13AndChangesNothing) {
  for (const char* text : {"0", "0G", "G0", " 00", "00 ", "0x00"}) {
    const auto string = this->Of("0102");
    EXPECT_ERROR(string->SetHex(text), 13, "Type mismatch") << text;
    EXPECT_EQ(string->Hex(), "0102") << text;
  }
}

TYPED_TEST_P(ByteStringLaws, TheChecksumIsTheSumOfAllBytes) {
  EXPECT_EQ(this->Of("FF01FF")->Checksum(), 0x1FF);
  EXPECT_EQ(this->Of("FF01FF")->Mid(2, 2)->Checksum(), 0x100);
}

TYPED_TEST_P(ByteStringLaws, ACloneIsIndependentAndKeepsTheStartAddress) {
  const auto string = this->Of("0102", 500);
  const auto clone = string->Clone();
  EXPECT_EQ(clone->StartAddress(), 500);
  clone->SetItem(500, 0xFF);
  clone->SetLength(3);
  EXPECT_EQ(clone->Hex(), "FF0200");
  EXPECT_EQ(string->Hex(), "0102");
}

TYPED_TEST_P(ByteStringLaws, ACloneOfAViewIsAWholeStringThatStartsAtOne) {
  const auto string = this->Of("010203", 500);
  const auto clone = string->Mid(501, 1)->Clone();
  EXPECT_EQ(clone->StartAddress(), 1);
  clone->SetHex("AABB");
  EXPECT_EQ(clone->Hex(), "AABB");
  EXPECT_EQ(string->Hex(), "010203");
}

TYPED_TEST_P(ByteStringLaws, AViewSharesStorageAndCountsFromOne) {
  const auto string = this->Of("01020304", 100);
  const auto view = string->Mid(101, 2);
  EXPECT_EQ(view->Length(), 2);
  EXPECT_EQ(view->StartAddress(), 1);
  EXPECT_EQ(view->EndAddress(), 2);
  EXPECT_EQ(view->Hex(), "0203");
  view->SetItem(1, 0xFF);
  EXPECT_EQ(string->Hex(), "01FF0304");
  string->SetItem(102, 0xEE);
  EXPECT_EQ(view->Item(2), 0xEE);
}

TYPED_TEST_P(ByteStringLaws, AViewHasItsOwnBounds) {
  const auto view = this->Of("01020304")->Mid(2, 2);
  EXPECT_ERROR(view->Item(0), 9, "Subscript out of range");
  EXPECT_ERROR(view->Item(3), 9, "Subscript out of range");
  EXPECT_ERROR(view->SetItem(3, 0), 9, "Subscript out of range");
}

TYPED_TEST_P(ByteStringLaws, AViewOutlivesItsParent) {
  auto string = this->Of("010203");
  const auto view = string->Mid(2, 0);
  string.reset();
  EXPECT_EQ(view->Hex(), "0203");
  view->SetHex("AABBCC");
  EXPECT_EQ(view->Hex(), "AABBCC");
}

TYPED_TEST_P(ByteStringLaws, CountZeroMeansOpenToTheEnd) {
  const auto string = this->Of("010203");
  EXPECT_EQ(string->Mid(1, 0)->Hex(), "010203");
  EXPECT_EQ(string->Mid(3, 0)->Hex(), "03");
}

TYPED_TEST_P(ByteStringLaws, BehindTheLastByteIsAnEmptyViewThatAppends) {
  const auto string = this->Of("2782", 50);
  const auto end = string->Mid(string->EndAddress() + 1, 0);
  EXPECT_EQ(end->Length(), 0);
  EXPECT_EQ(end->EndAddress(), 0);
  end->SetHex("A1B2C3D4");
  EXPECT_EQ(string->Hex(), "2782A1B2C3D4");
  EXPECT_EQ(string->StartAddress(), 50);
}

TYPED_TEST_P(ByteStringLaws, AnEmptyStringHasAnEmptyView) {
  const auto string = TypeParam::Make();
  string->Mid(1, 0)->SetHex("01");
  EXPECT_EQ(string->Hex(), "01");
}

TYPED_TEST_P(ByteStringLaws, AViewOutsideRaises9) {
  const auto string = this->Of("010203", 10);
  EXPECT_ERROR(string->Mid(9, 0), 9, "Subscript out of range");
  EXPECT_ERROR(string->Mid(14, 0), 9, "Subscript out of range");
  EXPECT_ERROR(string->Mid(13, 1), 9, "Subscript out of range");
  EXPECT_ERROR(string->Mid(12, 2), 9, "Subscript out of range");
  EXPECT_ERROR(string->Mid(10, this->kLargest), 9, "Subscript out of range");
  EXPECT_ERROR(string->Mid(10, -1), 9, "Subscript out of range");
  EXPECT_ERROR(string->Mid(this->kSmallest, 1), 9, "Subscript out of range");
}

TYPED_TEST_P(ByteStringLaws, AWholeStringTakesTheSourcesLengthAndKeepsItsStartAddress) {
  const auto string = this->Of("0102", 700);
  string->Assign(*this->Of("AABBCC", 5));
  EXPECT_EQ(string->Hex(), "AABBCC");
  EXPECT_EQ(string->StartAddress(), 700);
  string->Assign(*TypeParam::Make());
  EXPECT_EQ(string->Hex(), "");
  EXPECT_EQ(string->StartAddress(), 700);
}

TYPED_TEST_P(ByteStringLaws, AnOpenViewGrowsAndShrinksItsParent) {
  const auto string = this->Of("010203");
  string->Mid(2, 0)->Assign(*this->Of("AABBCCDD"));
  EXPECT_EQ(string->Hex(), "01AABBCCDD");
  string->Mid(3, 0)->Assign(*this->Of("EE"));
  EXPECT_EQ(string->Hex(), "01AAEE");
  string->Mid(1, 0)->Assign(*TypeParam::Make());
  EXPECT_EQ(string->Hex(), "");
}

TYPED_TEST_P(ByteStringLaws, ACountedViewTakesAsManyBytesAsBothHave) {
  const auto string = this->Of("01020304");
  string->Mid(2, 2)->Assign(*this->Of("AABBCC"));
  EXPECT_EQ(string->Hex(), "01AABB04");
  string->Mid(2, 2)->Assign(*this->Of("EE"));
  EXPECT_EQ(string->Hex(), "01EEBB04");
  string->Mid(3, 2)->SetHex("112233");
  EXPECT_EQ(string->Hex(), "01EE1122");
}

TYPED_TEST_P(ByteStringLaws, AnOpenViewOfAnOpenViewResizesTheRoot) {
  const auto string = this->Of("010203");
  string->Mid(2, 0)->Mid(2, 0)->Assign(*this->Of("AABBCC"));
  EXPECT_EQ(string->Hex(), "0102AABBCC");
}

TYPED_TEST_P(ByteStringLaws, AnOpenViewOfACountedViewBehavesAsCounted) {
  const auto string = this->Of("0102030405");
  const auto view = string->Mid(2, 3)->Mid(2, 0);
  EXPECT_EQ(view->Hex(), "0304");
  view->Assign(*this->Of("AABBCC"));
  EXPECT_EQ(string->Hex(), "0102AABB05");
  EXPECT_ERROR(view->SetLength(3), 9, "Subscript out of range");
  string->Mid(2, 3)->Mid(4, 0)->Assign(*this->Of("EE"));
  EXPECT_EQ(string->Hex(), "0102AABB05");
}

TYPED_TEST_P(ByteStringLaws, SettingTheLengthOfAnOpenViewSetsItsParents) {
  const auto string = this->Of("010203");
  const auto view = string->Mid(3, 0);
  view->SetLength(3);
  EXPECT_EQ(string->Hex(), "0102030000");
  view->SetLength(0);
  EXPECT_EQ(string->Hex(), "0102");
  EXPECT_ERROR(view->SetLength(-1), 9, "Subscript out of range");
}

TYPED_TEST_P(ByteStringLaws, ACountedViewKeepsItsLength) {
  const auto string = this->Of("010203");
  const auto view = string->Mid(2, 2);
  EXPECT_ERROR(view->SetLength(1), 9, "Subscript out of range");
  EXPECT_ERROR(view->SetLength(3), 9, "Subscript out of range");
  view->SetLength(2);
  EXPECT_EQ(string->Hex(), "010203");
}

TYPED_TEST_P(ByteStringLaws, GrowthThroughAViewRespectsTheParentsAddresses) {
  const auto string = this->Of("0102", this->kLargest - 1);
  EXPECT_ERROR(string->Mid(this->kLargest, 0)->SetHex("AABB"), 6, "Overflow");
  EXPECT_EQ(string->Hex(), "0102");
}

TYPED_TEST_P(ByteStringLaws, AnOpenViewFollowsItsParentsLength) {
  const auto string = this->Of("010203");
  const auto view = string->Mid(2, 0);
  string->SetHex("0A0B0C0D0E");
  EXPECT_EQ(view->Hex(), "0B0C0D0E");
}

TYPED_TEST_P(ByteStringLaws, AViewWhoseBytesAreGoneRaises9) {
  const auto string = this->Of("01020304");
  const auto counted = string->Mid(3, 2);
  const auto open = string->Mid(4, 0);
  string->SetLength(2);
  EXPECT_ERROR(counted->Item(1), 9, "Subscript out of range");
  EXPECT_ERROR(counted->SetItem(1, 0), 9, "Subscript out of range");
  EXPECT_ERROR(counted->Hex(), 9, "Subscript out of range");
  EXPECT_ERROR(counted->Assign(*this->Of("AA")), 9, "Subscript out of range");
  EXPECT_ERROR(string->Assign(*counted), 9, "Subscript out of range");
  EXPECT_ERROR(open->Hex(), 9, "Subscript out of range");
  EXPECT_ERROR(open->SetHex("AA"), 9, "Subscript out of range");
  EXPECT_EQ(string->Hex(), "0102");
}

TYPED_TEST_P(ByteStringLaws, OverlappingAssignmentsCopyFirst) {
  const auto forward = this->Of("0102030405");
  forward->Mid(2, 4)->Assign(*forward->Mid(1, 4));
  EXPECT_EQ(forward->Hex(), "0101020304");

  const auto backward = this->Of("0102030405");
  backward->Mid(1, 4)->Assign(*backward->Mid(2, 4));
  EXPECT_EQ(backward->Hex(), "0203040505");

  const auto doubled = this->Of("010203");
  doubled->Mid(4, 0)->Assign(*doubled);
  EXPECT_EQ(doubled->Hex(), "010203010203");

  const auto tail = this->Of("01020304");
  tail->Assign(*tail->Mid(3, 0));
  EXPECT_EQ(tail->Hex(), "0304");

  const auto self = this->Of("0102");
  self->Assign(*self);
  EXPECT_EQ(self->Hex(), "0102");
}

TYPED_TEST_P(ByteStringLaws, StringsOfAnotherImplementationAreCopied) {
  const auto string = this->Of("0102", 9);
  string->Assign(*this->OtherOf("AABBCC"));
  EXPECT_EQ(string->Hex(), "AABBCC");
  EXPECT_EQ(string->StartAddress(), 9);
  string->Mid(10, 1)->Assign(*this->OtherOf("1122"));
  EXPECT_EQ(string->Hex(), "AA11CC");
  string->Mid(12, 0)->Assign(*this->OtherOf("0D0E0F")->Mid(2, 0));
  EXPECT_EQ(string->Hex(), "AA11CC0E0F");
}

TYPED_TEST_P(ByteStringLaws, BytesAreReadWithoutText) {
  const auto string = this->Of("0A0B0C", 10);
  const auto read = [](const ByteString& from) {
    std::vector<std::uint8_t> bytes;
    from.ReadBytes(
        [&](std::span<const std::uint8_t> view) { bytes.assign(view.begin(), view.end()); });
    return bytes;
  };
  EXPECT_EQ(read(*string), (std::vector<std::uint8_t>{0x0A, 0x0B, 0x0C}));
  EXPECT_EQ(read(*string->Mid(11, 1)), (std::vector<std::uint8_t>{0x0B}));
  EXPECT_EQ(read(*TypeParam::Make()), std::vector<std::uint8_t>{});
}

TYPED_TEST_P(ByteStringLaws, BytesAreSetAsAssignedOnes) {
  const std::vector<std::uint8_t> bytes = {0xAA, 0xBB, 0xCC};
  const auto string = this->Of("0102", 10);
  string->SetBytes(bytes);
  EXPECT_EQ(string->Hex(), "AABBCC");
  EXPECT_EQ(string->StartAddress(), 10);
  string->Mid(11, 1)->SetBytes(bytes);
  EXPECT_EQ(string->Hex(), "AAAACC");
  string->Mid(12, 0)->SetBytes(bytes);
  EXPECT_EQ(string->Hex(), "AAAAAABBCC");
  string->SetBytes({});
  EXPECT_EQ(string->Hex(), "");
  string->SetStartAddress(this->kLargest);
  EXPECT_ERROR(string->SetBytes(bytes), 6, "Overflow");
  EXPECT_EQ(string->Hex(), "");
}

TYPED_TEST_P(ByteStringLaws, FillRunsAreCountedFromAnAddress) {
  const auto string = this->Of("00FFFFFF01FF", 1000);
  EXPECT_EQ(string->FillRunLength(0xFF, 1000), 0);
  EXPECT_EQ(string->FillRunLength(0xFF, 1001), 3);
  EXPECT_EQ(string->FillRunLength(0xFF, 1003), 1);
  EXPECT_EQ(string->FillRunLength(0xFF, 1005), 1);
  EXPECT_EQ(string->Mid(1002, 2)->FillRunLength(0xFF, 1), 2);
}

TYPED_TEST_P(ByteStringLaws, AFillRunOutsideIsNegative) {
  const auto string = this->Of("FFFF", 1000);
  EXPECT_LT(string->FillRunLength(0xFF, 999), 0);
  EXPECT_LT(string->FillRunLength(0xFF, 1002), 0);
  EXPECT_LT(string->FillRunLength(0xFF, this->kSmallest), 0);
  EXPECT_LT(TypeParam::Make()->FillRunLength(0xFF, 1), 0);
}

REGISTER_TYPED_TEST_SUITE_P(
    ByteStringLaws, AFreshStringIsEmptyAndStartsAtOne, GrowingFillsWithZeroAndShrinkingCutsTheEnd,
    ANegativeLengthRaises9AndChangesNothing, PositionsAreAddresses,
    ZeroAndNegativeAddressesAreValid, APositionOutsideRaises9, AnEmptyStringEndsBeforeItStarts,
    AddressesThatLeaveTheRangeRaise6AndChangeNothing, TheSmallestAddressHoldsAByte,
    AnEmptyStringMayStartAnywhere, HexIsUpperCaseAndReadsBothCases,
    TextThatIsNotHexRaises13AndChangesNothing, TheChecksumIsTheSumOfAllBytes,
    ACloneIsIndependentAndKeepsTheStartAddress, ACloneOfAViewIsAWholeStringThatStartsAtOne,
    AViewSharesStorageAndCountsFromOne, AViewHasItsOwnBounds, AViewOutlivesItsParent,
    CountZeroMeansOpenToTheEnd, BehindTheLastByteIsAnEmptyViewThatAppends,
    AnEmptyStringHasAnEmptyView, AViewOutsideRaises9,
    AWholeStringTakesTheSourcesLengthAndKeepsItsStartAddress, AnOpenViewGrowsAndShrinksItsParent,
    ACountedViewTakesAsManyBytesAsBothHave, AnOpenViewOfAnOpenViewResizesTheRoot,
    AnOpenViewOfACountedViewBehavesAsCounted, SettingTheLengthOfAnOpenViewSetsItsParents,
    ACountedViewKeepsItsLength, GrowthThroughAViewRespectsTheParentsAddresses,
    AnOpenViewFollowsItsParentsLength, AViewWhoseBytesAreGoneRaises9,
    OverlappingAssignmentsCopyFirst, StringsOfAnotherImplementationAreCopied,
    BytesAreReadWithoutText, BytesAreSetAsAssignedOnes, FillRunsAreCountedFromAnAddress,
    AFillRunOutsideIsNegative);

}  // namespace quillmark::testing
