// SPDX-License-Identifier: MIT
#include <utility>

#include "platform/windows/host_types.h"

namespace quillmark::windows {
namespace {

using com::Variant;

class HostByteString final : public HostBacked<ByteString> {
 public:
  using HostBacked::HostBacked;

  [[nodiscard]] std::int32_t Length() const override {
    return LongIn(object().Call(HostMember::kLength));
  }
  void SetLength(std::int32_t length) override {
    object().Set(HostMember::kLength, Variant::OfLong(length));
  }

  [[nodiscard]] std::uint8_t Item(std::int32_t position) const override {
    const Variant byte = object().Call(HostMember::kItem, Variant::OfLong(position));
    return V_UI1(&com::ConvertedTo(VT_UI1, byte.get()).get());
  }
  void SetItem(std::int32_t position, std::uint8_t value) override {
    object().Set(HostMember::kItem, Variant::OfLong(position), Variant::OfByte(value));
  }

  [[nodiscard]] std::shared_ptr<ByteString> Mid(std::int32_t start, std::int32_t count) override {
    return StringIn(
        object().Call(HostMember::kMid, Variant::OfLong(start), Variant::OfLong(count)));
  }
  [[nodiscard]] std::shared_ptr<ByteString> Clone() const override {
    return StringIn(object().Call(HostMember::kClone));
  }
  void Assign(const ByteString& source) override {
    object().Call(HostMember::kAssign, ArgumentOf(source));
  }

  [[nodiscard]] std::int32_t Checksum() const override {
    return LongIn(object().Call(HostMember::kChecksum));
  }

  [[nodiscard]] std::string Hex() const override {
    const Variant text = com::ConvertedTo(VT_BSTR, object().Call(HostMember::kHex).get());
    return com::Utf8Of(com::View(V_BSTR(&text.get())));
  }
  void SetHex(std::string_view text) override {
    object().Set(HostMember::kHex, Variant::OfText(com::Bstr(text)));
  }

  [[nodiscard]] std::int32_t StartAddress() const override {
    return LongIn(object().Call(HostMember::kStartAddress));
  }
  void SetStartAddress(std::int32_t address) override {
    object().Set(HostMember::kStartAddress, Variant::OfLong(address));
  }
  [[nodiscard]] std::int32_t EndAddress() const override {
    return LongIn(object().Call(HostMember::kEndAddress));
  }

  [[nodiscard]] std::int32_t FillRunLength(std::uint8_t fill, std::int32_t address) const override {
    return LongIn(
        object().Call(HostMember::kFillRunLength, Variant::OfByte(fill), Variant::OfLong(address)));
  }

 private:
  static std::shared_ptr<ByteString> StringIn(const Variant& value) {
    return MakeByteString(HostObject::Of(ObjectIn(value)));
  }
};

}  // namespace

std::shared_ptr<ByteString> MakeByteString(HostObject object) {
  return std::make_shared<HostByteString>(std::move(object));
}

std::shared_ptr<ByteString> NewHostByteString() {
  return MakeByteString(HostObject::Create(L"Vantrel.ByteString"));
}

std::shared_ptr<ByteString> WrapByteString(com::ComPtr<IDispatch> object) {
  return object ? MakeByteString(HostObject::Of(std::move(object))) : nullptr;
}

com::Variant ArgumentOf(const ByteString& string) {
  if (const auto* const backed = dynamic_cast<const ComBacked*>(&string)) {
    return Variant::OfObject(com::Share(&backed->Dispatch()));
  }
  const auto copy = NewHostByteString();
  copy->SetHex(string.Hex());
  copy->SetStartAddress(string.StartAddress());
  return Variant::OfObject(DispatchOf(copy));
}

}  // namespace quillmark::windows
