// SPDX-License-Identifier: MIT
#include "transfer/segment_cutter.h"

#include <algorithm>

#include "base/checked.h"

namespace quillmark::transfer {

std::int32_t SegmentCutter::SkippableFill() const {
  if (checked::Modulo(address_, rule_.alignment) != 0) {
    return 0;
  }
  const std::int32_t run = segment_.FillRunLength(rule_.fill_byte, address_);
  if (run < 0) {
    throw Error(error_number::kSubscriptOutOfRange);
  }
  return run - checked::Modulo(run, rule_.alignment);
}

std::optional<SegmentCutter::Cut> SegmentCutter::Next() {
  if (address_ > end_) {
    return std::nullopt;
  }
  const std::int32_t skipped = SkippableFill();
  address_ = checked::Add(address_, skipped);
  if (address_ > end_) {
    return Cut{skipped, address_, 0};
  }
  const std::int32_t rest = checked::Add(checked::Subtract(end_, address_), 1);
  const Cut cut{skipped, address_, std::min(rest, rule_.max_size)};
  address_ = checked::Add(address_, cut.count);
  return cut;
}

}  // namespace quillmark::transfer
