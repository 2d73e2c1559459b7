// SPDX-License-Identifier: MIT
#include "platform/portable/reference_types.h"

#include <algorithm>
#include <numeric>

#include "base/guards.h"
#include "platform/portable/memory_byte_string.h"

namespace quillmark::portable {
namespace {

class FixedRange final : public MemoryRange {
 public:
  FixedRange(std::int32_t start, std::int32_t count) : start_(start), count_(count) {}

  [[nodiscard]] std::int32_t Start() const override { return start_; }
  [[nodiscard]] std::int32_t Count() const override { return count_; }

 private:
  std::int32_t start_;
  std::int32_t count_;
};

}  // namespace

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

void RangeMap::AddRange(std::int32_t start, std::int32_t count) {
  GuardMemory([&] { ranges_.push_back(std::make_shared<FixedRange>(start, count)); });
}

std::vector<std::shared_ptr<MemoryRange>> RangeMap::Ranges() const {
  return GuardMemory([&] { return ranges_; });
}

void SumChecksumCalculator::Reset() { sum_ = 0; }

void SumChecksumCalculator::Add(const ByteString& data) {
  GuardMemory([&] {
    data.ReadBytes(
        [&](ByteView bytes) { sum_ = std::accumulate(bytes.begin(), bytes.end(), sum_); });
  });
}

void SumChecksumCalculator::StoreInto(ByteString& block) {
  if (block.Length() < 2) {
    throw Error(error_number::kSubscriptOutOfRange);
  }
  const std::int32_t last = block.EndAddress();
  block.SetItem(last - 1, static_cast<std::uint8_t>(sum_ >> 8U & 0xFFU));
  block.SetItem(last, static_cast<std::uint8_t>(sum_ & 0xFFU));
}

}  // namespace quillmark::portable
