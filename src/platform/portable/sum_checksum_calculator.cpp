// SPDX-License-Identifier: MIT
#include "platform/portable/sum_checksum_calculator.h"

#include <numeric>

#include "base/guards.h"
#include "platform/portable/memory_byte_string.h"
#include "quillmark/error.h"

namespace quillmark::portable {

void SumChecksumCalculator::Reset() { sum_ = 0; }

void SumChecksumCalculator::Add(const ByteString& data) {
  GuardMemory([&] {
    const SourceBytes source(data);
    sum_ = std::accumulate(source.View().begin(), source.View().end(), sum_);
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
