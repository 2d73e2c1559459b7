// SPDX-License-Identifier: MIT
#include "host/windows/vantrel/byte_string_object.h"

#include <array>
#include <utility>

#include "base/com/dispatch.h"
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

}  // namespace quillmark::vantrel
