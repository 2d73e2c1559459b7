// SPDX-License-Identifier: MIT
#include "platform/portable/segment_image.h"

#include <algorithm>

#include "base/guards.h"
#include "platform/portable/memory_byte_string.h"

namespace quillmark::portable {

void SegmentImage::AddSegment(const ByteString& segment) {
  if (MemoryByteString::From(segment) != nullptr) {
    return GuardMemory([&] { segments_.push_back(segment.Clone()); });
  }
  GuardMemory([&] {
    auto copy = std::make_shared<MemoryByteString>();
    copy->Assign(segment);
    copy->SetStartAddress(segment.StartAddress());
    segments_.push_back(std::move(copy));
  });
}

std::vector<std::shared_ptr<ByteString>> SegmentImage::Segments() const {
  return GuardMemory([&] {
    auto in_address_order = segments_;
    const auto is_before = [](const auto& a, const auto& b) {
      return a->StartAddress() < b->StartAddress();
    };
    // They are added in this order nearly always, and sorting needs memory of its own.
    if (!std::is_sorted(in_address_order.begin(), in_address_order.end(), is_before)) {
      std::stable_sort(in_address_order.begin(), in_address_order.end(), is_before);
    }
    return in_address_order;
  });
}

}  // namespace quillmark::portable
