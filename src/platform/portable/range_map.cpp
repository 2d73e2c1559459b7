// SPDX-License-Identifier: MIT
#include "platform/portable/range_map.h"

#include "base/guards.h"

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

void RangeMap::AddRange(std::int32_t start, std::int32_t count) {
  GuardMemory([&] { ranges_.push_back(std::make_shared<FixedRange>(start, count)); });
}

std::vector<std::shared_ptr<MemoryRange>> RangeMap::Ranges() const {
  return GuardMemory([&] { return ranges_; });
}

}  // namespace quillmark::portable
