// SPDX-License-Identifier: MIT
#include "host/windows/vantrel/host_types.h"

#include <windows.h>

#include <array>
#include <utility>
#include <vector>

#include "base/checked.h"
#include "base/com/dispatch.h"
#include "base/com/enumerator.h"
#include "base/com/variant.h"
#include "platform/portable/memory_byte_string.h"

namespace quillmark::vantrel {
namespace {

// {5C1D0B36-0F53-4E0B-9C1E-7E7C4C0B7A21}
constexpr GUID kOwnObject = {
    0x5C1D0B36, 0x0F53, 0x4E0B, {0x9C, 0x1E, 0x7E, 0x7C, 0x4C, 0x0B, 0x7A, 0x21}};

enum : DISPID {
  kItem = DISPID_VALUE,
  kLength = 1,
  kMid,
  kClone,
  kAssign,
  kChecksum,
  kHex,
  kStartAddress,
  kEndAddress,
  kFillRunLength,
};

constexpr std::array<com::Member, 10> kMembers = {{{L"Item", kItem, 1, true},
                                                   {L"Length", kLength, 0, true},
                                                   {L"Mid", kMid, 2},
                                                   {L"Clone", kClone},
                                                   {L"Assign", kAssign, 1},
                                                   {L"Checksum", kChecksum},
                                                   {L"Hex", kHex, 0, true},
                                                   {L"StartAddress", kStartAddress, 0, true},
                                                   {L"EndAddress", kEndAddress},
                                                   {L"FillRunLength", kFillRunLength, 2}}};

com::Variant Property(IDispatch& object, std::wstring_view name) {
  return com::Call(object, com::MemberOf(object, name));
}

using Items = std::vector<com::ComPtr<IDispatch>>;

enum : DISPID { kEnumerate = DISPID_NEWENUM, kCount = 1, kAdd };

constexpr std::array<com::Member, 3> kImageMembers = {
    {{L"_NewEnum", kEnumerate}, {L"Count", kCount}, {L"AddSegment", kAdd, 1}}};

constexpr std::array<com::Member, 3> kMapMembers = {
    {{L"_NewEnum", kEnumerate}, {L"Count", kCount}, {L"AddRange", kAdd, 2}}};

/// A range of a memory map.
class MemoryRangeObject final : public com::Scriptable {
 public:
  explicit MemoryRangeObject(std::shared_ptr<MemoryRange> range) : range_(std::move(range)) {}

 private:
  enum : DISPID { kStart = 1, kRangeCount };
  static constexpr std::array<com::Member, 2> kMembers = {
      {{L"Start", kStart}, {L"Count", kRangeCount}}};

  [[nodiscard]] std::span<const com::Member> Members() const override { return kMembers; }
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& /*arguments*/) override {
    return com::Variant::OfLong(id == kStart ? range_->Start() : range_->Count());
  }

  std::shared_ptr<MemoryRange> range_;
};

struct ObjectPolicy {
  using Item = com::ComPtr<IDispatch>;
  using Raw = VARIANT;
  static Raw Copy(const Item& item) { return com::Variant::OfObject(item).Detach(); }
};

/// An enumerator over objects, for `For Each`.
com::Variant EnumeratorOf(Items items) {
  com::Variant variant;
  V_UNKNOWN(variant.Put()) = new com::Enumerator<IEnumVARIANT, ObjectPolicy>(std::move(items));
  V_VT(variant.InOut()) = VT_UNKNOWN;
  return variant;
}

template <typename Object, typename Element>
com::Variant EnumeratorOver(const std::vector<std::shared_ptr<Element>>& elements) {
  Items items;
  items.reserve(elements.size());
  for (const auto& element : elements) {
    items.push_back(com::ComPtr<IDispatch>::Adopt(new Object(element)));
  }
  return EnumeratorOf(std::move(items));
}

com::Variant CountOf(std::size_t count) {
  return com::Variant::OfLong(checked::Convert<std::int32_t>(count));
}

}  // namespace

com::ComPtr<ByteStringObject> ByteStringObject::From(IDispatch& object) {
  IDispatch* own = nullptr;
  if (FAILED(object.QueryInterface(kOwnObject, reinterpret_cast<void**>(&own)))) {
    return {};
  }
  return com::ComPtr<ByteStringObject>::Adopt(static_cast<ByteStringObject*>(own));
}

void* ByteStringObject::Find(REFIID iid) {
  return iid == kOwnObject ? static_cast<IDispatch*>(this) : com::Scriptable::Find(iid);
}

std::span<const com::Member> ByteStringObject::Members() const { return kMembers; }

com::Variant ByteStringObject::Get(DISPID id, const com::Arguments& arguments) {
  switch (id) {
    case kItem:
      return com::Variant::OfByte(bytes_->Item(arguments.Long(0)));
    case kLength:
      return com::Variant::OfLong(bytes_->Length());
    case kMid:
      return ObjectOf(bytes_->Mid(arguments.Long(0), arguments.Long(1)));
    case kClone:
      return ObjectOf(bytes_->Clone());
    case kAssign:
      bytes_->Assign(*ByteStringArgument(arguments.Object(0)));
      return {};
    case kChecksum:
      return com::Variant::OfLong(bytes_->Checksum());
    case kHex:
      return com::Variant::OfText(com::Bstr(bytes_->Hex()));
    case kStartAddress:
      return com::Variant::OfLong(bytes_->StartAddress());
    case kEndAddress:
      return com::Variant::OfLong(bytes_->EndAddress());
    default:
      return com::Variant::OfLong(bytes_->FillRunLength(arguments.Byte(0), arguments.Long(1)));
  }
}

void ByteStringObject::Set(DISPID id, const com::Arguments& arguments) {
  switch (id) {
    case kItem:
      return bytes_->SetItem(arguments.Long(0), arguments.Byte(1));
    case kLength:
      return bytes_->SetLength(arguments.Long(0));
    case kHex:
      return bytes_->SetHex(arguments.Text(0).utf8());
    default:
      return bytes_->SetStartAddress(arguments.Long(0));
  }
}

com::Variant ObjectOf(std::shared_ptr<ByteString> bytes) {
  return com::Variant::OfObject(
      com::ComPtr<IDispatch>::Adopt(new ByteStringObject(std::move(bytes))));
}

ByteStringArgument::ByteStringArgument(com::ComPtr<IDispatch> object)
    : object_(std::move(object)), is_copy_(false) {
  if (const auto own = ByteStringObject::From(*object_)) {
    bytes_ = own->bytes();
    return;
  }
  is_copy_ = true;
  bytes_ = std::make_shared<portable::MemoryByteString>();
  const auto hex = com::ConvertedTo(VT_BSTR, Property(*object_, L"Hex").get());
  const auto address = com::ConvertedTo(VT_I4, Property(*object_, L"StartAddress").get());
  bytes_->SetHex(com::Utf8Of(com::View(V_BSTR(&hex.get()))));
  bytes_->SetStartAddress(V_I4(&address.get()));
}

void ByteStringArgument::WriteBack() const {
  if (is_copy_) {
    const com::Variant hex = com::Variant::OfText(com::Bstr(bytes_->Hex()));
    com::SetProperty(*object_, com::MemberOf(*object_, L"Hex"), {&hex.get()});
  }
}

com::Variant ChecksumCalculatorObject::Get(DISPID id, const com::Arguments& arguments) {
  if (id == kReset) {
    calculator_->Reset();
    return {};
  }
  const ByteStringArgument bytes(arguments.Object(0));
  if (id == kAdd) {
    calculator_->Add(*bytes);
  } else {
    calculator_->StoreInto(*bytes);
    bytes.WriteBack();
  }
  return {};
}

std::span<const com::Member> MemoryImageObject::Members() const { return kImageMembers; }

com::Variant MemoryImageObject::Get(DISPID id, const com::Arguments& arguments) {
  switch (id) {
    case kEnumerate:
      return EnumeratorOver<ByteStringObject>(image_->Segments());
    case kCount:
      return CountOf(image_->Segments().size());
    default:
      image_->AddSegment(*ByteStringArgument(arguments.Object(0)));
      return {};
  }
}

std::span<const com::Member> MemoryMapObject::Members() const { return kMapMembers; }

com::Variant MemoryMapObject::Get(DISPID id, const com::Arguments& arguments) {
  switch (id) {
    case kEnumerate:
      return EnumeratorOver<MemoryRangeObject>(map_->Ranges());
    case kCount:
      return CountOf(map_->Ranges().size());
    default:
      map_->AddRange(arguments.Long(0), arguments.Long(1));
      return {};
  }
}

}  // namespace quillmark::vantrel
