// SPDX-License-Identifier: MIT
// The host library through the names of its members: the one that is registered, and objects that a
// host made itself.
#include <gmock/gmock.h>

#include "platform/windows/com_objects.h"
#include "platform/windows/host_members.h"
#include "tested_platform.h"
#include "tests/src/platform/byte_string_laws.h"
#include "tests/src/platform/naive_byte_string.h"
#include "tests/src/platform/windows/script_object.h"

namespace quillmark::testing {
namespace {

using windows::HostMember;

struct RegisteredStrings {
  static std::shared_ptr<ByteString> Make() { return TestPlatform()->CreateByteString(); }
  static std::shared_ptr<ByteString> MakeOther() { return MakeNaiveByteString(); }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Registered, ByteStringLaws, RegisteredStrings);

class HostTypes : public ::testing::Test {
 protected:
  [[nodiscard]] std::shared_ptr<ByteString> String(std::string_view hex, std::int32_t at) const {
    auto string = platform_->CreateByteString();
    string->SetHex(hex);
    string->SetStartAddress(at);
    return string;
  }

  static com::ComPtr<IDispatch> Dispatch(const com::ComPtr<ScriptObject>& object) {
    return object.As<IDispatch>();
  }

  const std::shared_ptr<TestedPlatform> platform_ = TestPlatform();
};

TEST_F(HostTypes, AnImageEnumeratesCopiesOfItsSegmentsInAddressOrder) {
  const auto image = platform_->CreateMemoryImage();
  const auto segment = String("0102", 0x20);
  image->AddSegment(*segment);
  segment->SetHex("FF");
  image->AddSegment(*String("03", 0x10));
  const auto segments = image->Segments();
  ASSERT_EQ(segments.size(), 2U);
  EXPECT_EQ(segments[0]->StartAddress(), 0x10);
  EXPECT_EQ(segments[1]->Hex(), "0102");
}

TEST_F(HostTypes, AForeignStringIsCopiedIntoTheImageWithItsAddress) {
  const auto image = platform_->CreateMemoryImage();
  const auto segment = MakeNaiveByteString();
  segment->SetHex("AA");
  segment->SetStartAddress(-3);
  image->AddSegment(*segment);
  EXPECT_EQ(image->Segments()[0]->StartAddress(), -3);
  EXPECT_EQ(image->Segments()[0]->Hex(), "AA");
}

TEST_F(HostTypes, AMapEnumeratesItsRanges) {
  const auto map = platform_->CreateMemoryMap();
  map->AddRange(-5, 3);
  ASSERT_EQ(map->Ranges().size(), 1U);
  EXPECT_EQ(map->Ranges()[0]->Start(), -5);
  EXPECT_EQ(map->Ranges()[0]->Count(), 3);
}

TEST_F(HostTypes, AChecksumIsStoredIntoAnyString) {
  const auto calculator = platform_->CreateChecksumCalculator();
  calculator->Add(*String("FFFF", 1));
  const auto own = String("0000", 1);
  calculator->StoreInto(*own);
  EXPECT_EQ(own->Hex(), "01FE");
  const auto foreign = MakeNaiveByteString();
  foreign->SetHex("000000");
  calculator->StoreInto(*foreign);
  EXPECT_EQ(foreign->Hex(), "0001FE");
  calculator->Reset();
  calculator->StoreInto(*own);
  EXPECT_EQ(own->Hex(), "0000");
}

TEST_F(HostTypes, WrappingAndUnwrappingGivesTheSameObject) {
  const auto object = Dispatch(NewScriptObject({}));
  EXPECT_EQ(windows::DispatchOf(windows::WrapByteString(object)).get(), object.get());
  EXPECT_EQ(windows::DispatchOf(windows::WrapMemoryImage(object)).get(), object.get());
  EXPECT_EQ(windows::DispatchOf(windows::WrapMemoryMap(object)).get(), object.get());
  EXPECT_EQ(windows::WrapByteString({}), nullptr);
  EXPECT_FALSE(windows::DispatchOf(std::shared_ptr<ByteString>()));
  EXPECT_ERROR(windows::DispatchOf(MakeNaiveByteString()), 13, "The object is of another platform");
}

TEST_F(HostTypes, AMissingMemberIsNamed) {
  const auto object = Dispatch(NewScriptObject({{L"Length", 1}}));
  const auto string = windows::WrapByteString(object);
  EXPECT_EQ(string->Length(), 1);
  EXPECT_ERROR(string->Hex(), 438, "Object doesn't support this property or method: Hex");
  EXPECT_ERROR(string->SetItem(1, 0), 438, "Object doesn't support this property or method: Item");
  EXPECT_ERROR(string->Mid(1, 0), 438, "Object doesn't support this property or method: Mid");
  EXPECT_ERROR(windows::WrapMemoryImage(object)->Segments(), 438,
               "Object doesn't support this property or method: _NewEnum");
  EXPECT_ERROR(windows::WrapMemoryMap(object)->AddRange(1, 1), 438,
               "Object doesn't support this property or method: AddRange");
  EXPECT_ERROR(windows::WrapChecksumCalculator(object)->Reset(), 438,
               "Object doesn't support this property or method: Reset");
}

TEST_F(HostTypes, ErrorsOfTheHostLibraryPassUnchanged) {
  const auto object = NewScriptObject({{L"Hex", 1}});
  const auto string = windows::WrapByteString(Dispatch(object));
  object->Raise(static_cast<std::int32_t>(0x80041234), "Speicher überlastet");
  EXPECT_ERROR(string->Hex(), static_cast<std::int32_t>(0x80041234), "Speicher überlastet");
  object->Raise(9, "Beyond the end");
  EXPECT_ERROR(string->Hex(), 9, "Beyond the end");
}

TEST_F(HostTypes, ValuesAreConvertedWithTheirRange) {
  const auto string =
      windows::WrapByteString(Dispatch(NewScriptObject({{L"Item", 256, 1}, {L"Clone", 1}})));
  EXPECT_ERROR(string->Item(1), 6, "Overflow");
  EXPECT_ERROR(string->Clone(), 13, "Type mismatch");
}

TEST_F(HostTypes, AMembersNameIsAskedForOnce) {
  const auto object = NewScriptObject({{L"Length", 1}, {L"Checksum", 2}});
  const auto string = windows::WrapByteString(Dispatch(object));
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(string->Length(), 1);
    EXPECT_EQ(string->Checksum(), 2);
  }
  EXPECT_EQ(object->lookups, 2);
}

TEST_F(HostTypes, ObjectsWithoutAClassHaveMembersOfTheirOwn) {
  const auto one = windows::WrapByteString(Dispatch(NewScriptObject({{L"Length", 1}})));
  const auto other = windows::WrapByteString(Dispatch(NewScriptObject({{L"Length", 2}})));
  EXPECT_EQ(one->Length(), 1);
  EXPECT_EQ(other->Length(), 2);
}

TEST_F(HostTypes, ObjectsOfOneClassShareItsMembers) {
  const CLSID some = {0x5a1f3b52, 0x2f7e, 0x4b1c, {0x90, 1, 2, 3, 4, 5, 6, 7}};
  CLSID another = some;
  ++another.Data1;
  EXPECT_EQ(windows::MembersOfClass(some), windows::MembersOfClass(some));
  EXPECT_NE(windows::MembersOfClass(some), windows::MembersOfClass(another));
  const auto object = NewScriptObject({{L"Hex", 7}});
  EXPECT_EQ(windows::MembersOfClass(some)->IdOf(*object, HostMember::kHex), 7);
  EXPECT_EQ(windows::MembersOfClass(some)->IdOf(*object, HostMember::kHex), 7);
  EXPECT_EQ(object->lookups, 1);
}

}  // namespace
}  // namespace quillmark::testing
