// SPDX-License-Identifier: MIT
#include "host/windows/vantrel/collections.h"

#include <windows.h>

#include <array>
#include <utility>
#include <vector>

#include "base/checked.h"
#include "base/com/enumerator.h"
#include "base/com/variant.h"
#include "host/windows/vantrel/byte_string_object.h"

namespace quillmark::vantrel {
namespace {

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
